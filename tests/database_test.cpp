// The store's classes and its background writers on real SQLite files.
#include "store/database.h"

#include <sys/stat.h>

#include <functional>

#include "platform/calls.h"
#include "platform/failures.h"
#include "platform/fibers.h"
#include "support/page.h"
#include "support/store_fixture.h"

namespace gravlin::testing {
namespace {

class DatabaseTest : public StoreTest {
 protected:
  // The value that another connection reads.
  std::string SeenByOthers(std::string_view sql) {
    Database other(file);
    if (!other.Connect()) return "no connection";
    const auto rows = other.SQLSelect(sql);
    if (!rows) return "failed: " + other.ErrorMessage();
    return rows->EndOfFile() ? "no row" : rows->Field("v").StringValue();
  }

  const FolderItem file = Code::fGlobalDB;
  Database& db = store;
};

TEST_F(DatabaseTest, OnlyTheUserCanReadTheStoreAndItsJournal) {
  for (const char* name : {"store.rsd", "store.rsd-wal"}) {
    struct stat about {};
    ASSERT_EQ(stat((folder / name).c_str(), &about), 0) << name;
    EXPECT_EQ(about.st_mode & 0777, 0600) << name;
  }
}

TEST_F(DatabaseTest, ANewStoreHoldsWhatIsRecorded) {
  std::string page;
  for (const std::string table :
       {"Servers", "Settings", "Settings_Main", "Settings_Gravlin", "FileTypes", "NZBFiles"}) {
    const std::string columns = "pragma_table_info('" + table + "')";
    page += table + ": " + Stored(columns, "group_concat(name||' '||type, ', ')") + "\n" +
            Stored(table, "group_concat(" +
                              Stored(columns, "group_concat('quote('||name||')', '||'',''||')") +
                              ", char(10))") +
            "\n";
  }
  ExpectPage("store", page);
}

TEST_F(DatabaseTest, MissingDamagedOrForeignFilesDoNotConnect) {
  EXPECT_FALSE(Database(folder.Item("missing.rsd")).Connect());
  EXPECT_FALSE(folder.Item("missing.rsd").Exists());
  const std::string page(4096, 'x');
  std::string torn = "SQLite format 3";
  torn += '\0' + page;
  for (const std::string& bytes : {std::string(), page, torn}) {
    Database damaged(folder.Write("damaged.rsd", bytes));
    EXPECT_FALSE(damaged.Connect());
    damaged.SQLExecute("Delete from Servers");
    EXPECT_TRUE(damaged.Error());
  }
  EXPECT_TRUE(db.Connect());
  EXPECT_FALSE(Database(file).CreateDatabaseFile());
}

TEST_F(DatabaseTest, ASecondStatementIsRefusedAndNotRun) {
  for (const char* sql :
       {"Update Servers Set Port=1; Delete from Servers", "Select 1; Delete from Servers",
        "Update Servers Set Port=1;-- x", "-- nothing", ""}) {
    db.SQLExecute(sql);
    EXPECT_TRUE(db.Error()) << sql;
    EXPECT_EQ(db.SQLSelect(sql), nullptr) << sql;
  }
  db.SQLExecute(std::string_view("Update Servers Set Port=1\0 where ID=9", 37));
  EXPECT_TRUE(db.Error());
  db.Commit();
  EXPECT_EQ(SeenByOthers("Select Port as v from Servers"), "119");
  EXPECT_EQ(db.SQLSelect("Delete from Servers returning ID"), nullptr) << "no select";
  db.SQLExecute("Update Servers Set Port=2 ; \n");
  EXPECT_FALSE(db.Error());
  db.Commit();
  EXPECT_EQ(SeenByOthers("Select Port as v from Servers"), "2");
}

TEST_F(DatabaseTest, WritesAreOneTransactionUntilCommit) {
  const std::string port = "Select Port as v from Servers";
  db.SQLExecute("Update Servers Set Port=1");
  db.SQLExecute("Update Servers Set Nonsense=1");
  EXPECT_TRUE(db.Error());
  DatabaseRecord record;
  record.SetColumn("Name", "second");
  db.InsertRecord("Servers", record);
  EXPECT_EQ(SeenByOthers(port), "119");
  db.SQLExecute("BEGIN");  // refused: the first write has opened one
  EXPECT_TRUE(db.Error());
  db.Commit();
  EXPECT_FALSE(db.Error());
  EXPECT_EQ(SeenByOthers(port), "1");
  EXPECT_EQ(db.LastRowID(), 2);
  db.SQLExecute("Update Servers Set Port=3");
  db.Rollback();
  EXPECT_EQ(SeenByOthers(port), "1");
  {
    Database lost(file);
    ASSERT_TRUE(lost.Connect());
    lost.SQLExecute("Update Servers Set Port=4");
  }
  EXPECT_EQ(SeenByOthers(port), "1");
}

TEST_F(DatabaseTest, OnTheMainThreadAWriterWaitsFiveSecondsWhileEventsGoOn) {
  Database other(file);
  ASSERT_TRUE(other.Connect());
  other.SQLExecute("Update Servers Set Port=1");
  int events = 0;
  std::function<void()> go_on = [&] {
    if (++events < 1000) CallSoon(go_on);
  };
  CallSoon(go_on);
  db.SQLExecute("Update Servers Set SSL='v0'");
  EXPECT_TRUE(db.Error());
  EXPECT_GE(events, 250) << "twenty milliseconds between two tries";
  EXPECT_LT(events, 1000);
  while (events < 1000) PumpEvents(0);
  CallSoon([&other] { other.Commit(); });
  db.SQLExecute("Update Servers Set SSL='v1'");
  EXPECT_EQ(db.ErrorMessage(), "");
  db.Commit();
  EXPECT_EQ(SeenByOthers("Select Port||SSL as v from Servers"), "1v1");
}

TEST_F(DatabaseTest, TheCurrentRowIsEditedByItsID) {
  const auto rows = db.SQLSelect("Select * from FileTypes");
  for (int i = 0; i < 4; ++i) rows->MoveNext();
  rows->Edit();
  rows->SetField("Note", "it's \"new\"");
  rows->SetField("ext", false);
  EXPECT_TRUE(rows->Update());
  db.Commit();
  EXPECT_EQ(SeenByOthers("Select group_concat(ID||Name||Ext||Note) as v from FileTypes "
                         "where Note is not null"),
            "5MD50it's \"new\"");
  EXPECT_THROW(rows->SetField("Nonsense", "x"), NilObjectException);
  EXPECT_FALSE(rows->Update());
  while (!rows->EndOfFile()) rows->MoveNext();
  EXPECT_THROW(rows->Edit(), NilObjectException);
}

TEST_F(DatabaseTest, CellsReadAsTheNumberTheyBeginWith) {
  struct Case {
    const char* value;
    std::string text;
    double number;
    std::int64_t wide, narrow;
    bool boolean;
  };
  for (const Case& c : {
           Case{"NULL", "", 0, 0, 0, false},
           Case{"1", "1", 1, 1, 1, true},
           Case{"'True'", "True", 0, 0, 0, true},
           Case{"' 7'", " 7", 0, 0, 0, false},
           Case{"'119x'", "119x", 119, 119, 119, false},
           Case{"5e12", "5000000000000.0", 5e12, 5'000'000'000'000, 658067456, false},
           Case{"-3e20", "-3.0e+20", -3e20, 0, 0, false},
           Case{"4294967297", "4294967297", 4294967297.0, 4294967297, 1, false},
           Case{"'nan'", "nan", 0, 0, 0, false},
       }) {
    const auto rows = db.SQLSelect("Select " + std::string(c.value) + " as v");
    const DatabaseField field = rows->Field("V");
    EXPECT_EQ(field.StringValue(), c.text) << c.value;
    EXPECT_EQ(field.DoubleValue(), c.number) << c.value;
    EXPECT_EQ(field.Int64Value(), c.wide) << c.value;
    EXPECT_EQ(field.IntegerValue(), c.narrow) << c.value;
    EXPECT_EQ(field.BooleanValue(), c.boolean) << c.value;
  }
  const auto none = db.SQLSelect("Select * from NZBFiles");
  EXPECT_TRUE(none->EndOfFile());
  EXPECT_THROW(none->Field("ID"), NilObjectException);
  EXPECT_EQ(db.SQLSelect("Select * from Nowhere"), nullptr);
}

TEST_F(DatabaseTest, RecordsOfChangingShapeKeepEveryByte) {
  const std::string odd("a\0b\xff'\"", 6);
  for (int i = 0; i < 4; ++i) {
    DatabaseRecord record;
    record.SetColumn("Filename", i % 2 ? "" : odd);
    if (i >= 2) record.SetIntegerColumn("TotalBytes", -(std::int64_t{1} << 40));
    db.InsertRecord("NZBFiles", record);
  }
  DatabaseRecord wrong;
  wrong.SetColumn("Nonsense", "x");
  db.InsertRecord("NZBFiles", wrong);
  EXPECT_TRUE(db.Error());
  db.InsertRecord("FileTypes", DatabaseRecord());
  EXPECT_EQ(db.LastRowID(), 28);
  const auto rows =
      db.SQLSelect("Select Filename, TotalBytes, Filename is null as n from NZBFiles");
  ASSERT_EQ(rows->RecordCount(), 4);
  for (int i = 0; i < 4; ++i, rows->MoveNext()) {
    EXPECT_EQ(rows->Field("Filename").View(), i % 2 ? "" : odd);
    EXPECT_FALSE(rows->Field("n").BooleanValue());
    EXPECT_EQ(rows->Field("TotalBytes").Int64Value(), i < 2 ? 0 : -(std::int64_t{1} << 40));
  }
}

// Background writers: their order and their failures.
class WritersTest : public StoreTest {
 protected:
  std::string Server(const std::string& columns) { return Stored("Servers", columns); }
};

TEST_F(WritersTest, ABadStatementLeavesTheOthers) {
  Code::SaveToDB(
      {"Update Servers Set Port=1", "Update Servers Set Nonsense=1", "Update Servers Set SSL='v3'"},
      "none");
  EXPECT_EQ(Server("Port"), "119") << "written before the caller continued";
  ASSERT_TRUE(Save());
  EXPECT_EQ(Server("Port||SSL"), "1v3");
  EXPECT_TRUE(Code::DBFree);
}

// The newer one looks first after the right is free.
TEST_F(WritersTest, ATakenRightHoldsWritersUpAndAnOlderWriteIsNeverTheLast) {
  ASSERT_TRUE(Code::LockDB());
  EXPECT_FALSE(Code::LockDB());
  Code::SaveToDB({"Update Servers Set URL='old'"}, "none");
  Code::SaveToDB({}, "none");
  clock.Advance(60);
  Code::SaveToDB({"Update Servers Set URL='new'"}, "none");
  clock.Advance(50);
  EXPECT_EQ(Code::PendingWrites(), 3);
  Code::DBFree = true;
  ASSERT_TRUE(Save());
  EXPECT_EQ(Server("URL"), "new");
  EXPECT_TRUE(Code::DBFree);
}

TEST_F(WritersTest, ABurstOfWritersWritesOneAtATimeAndLosesNothing) {
  SetSlice(0);
  // If two ran between their statements at once, one would see the other's mark.
  for (int i = 0; i < 10; ++i) {
    Code::SaveToDB({"Insert into FileTypes (Name) values ('burst')",
                    "Update Settings_Gravlin Set Name=ifnull(Name,'')||'('",
                    "Update Settings_Gravlin Set Name=Name||')'"},
                   "none");
  }
  EXPECT_EQ(Code::PendingWrites(), 10);
  const std::int64_t start = clock.Milliseconds();
  ASSERT_TRUE(Save());
  SetSlice(8);
  EXPECT_EQ(Stored("FileTypes where Name='burst'", "count(*)"), "10");
  EXPECT_EQ(Stored("Settings_Gravlin", "Name"), "()()()()()()()()()()");
  EXPECT_LT(clock.Milliseconds() - start, 3000);
}

// As the counts of articles that come faster than transactions end.
TEST_F(WritersTest, WhatWaitsTogetherIsWrittenInItsOrder) {
  std::string all;
  const auto save = [&](int number, Code::Saving how) {
    all += Str(number) + " ";
    Code::SaveToDB({"Update Settings_Gravlin Set Name=ifnull(Name,'')||'" + Str(number) + " '"},
                   "none", how);
  };
  for (int i = 0; i < 250; ++i) save(i, Code::Saving::kTogether);
  EXPECT_EQ(Code::PendingWrites(), 3);
  save(250, Code::Saving::kAlone);
  save(251, Code::Saving::kTogether);
  save(252, Code::Saving::kTogether);
  ASSERT_TRUE(Save());
  EXPECT_EQ(Stored("Settings_Gravlin", "Name"), all);
}

}  // namespace
}  // namespace gravlin::testing
