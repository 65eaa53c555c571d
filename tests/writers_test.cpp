// Background writers: their order, their failures, their turn.
#include "store/writers.h"

#include <gtest/gtest.h>

#include "platform/failures.h"
#include "support/store_fixture.h"

namespace gravlin::testing {
namespace {

class WritersTest : public StoreTest {
 protected:
  std::string Server(const std::string& columns) { return Stored("Servers", columns); }
};

TEST_F(WritersTest, ABadStatementLeavesTheOthers) {
  Code::SaveToDB(
      {"Update Servers Set Port=1", "Update Servers Set Nonsense=1", "Update Servers Set SSL='v3'"},
      "none");
  EXPECT_EQ(Server("Port"), "119") << "written before the caller went on";
  ASSERT_TRUE(Save());
  EXPECT_EQ(Server("Port||SSL"), "1v3");
  EXPECT_TRUE(Code::DBFree);
}

// The writers poll at their own moments; the younger one's comes first when the right is free.
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
  // Were two between their statements at once, one would find the other's mark.
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

TEST_F(WritersTest, AnotherConnectionsTransactionOnlyDelays) {
  Database other(Code::fGlobalDB);
  ASSERT_TRUE(other.Connect());
  other.SQLExecute("Update Servers Set SSL='v1'");
  Code::SaveToDB({"Update Servers Set Port=1"}, "none");
  clock.Advance(60'000);  // no limit within a thread
  EXPECT_EQ(Code::PendingWrites(), 1);
  other.Commit();
  ASSERT_TRUE(Save());
  EXPECT_EQ(Server("Port||SSL"), "1v1");
}

// What a call back sees.
struct Seen {
  std::int64_t id = -1;
  bool free = false, committed = false;
};

template <class Writer>
class Noting : public Writer {
 public:
  Noting(Seen& seen, const std::string& return_to) : seen_(seen) {
    this->ReturnTo = return_to;
    if constexpr (requires { this->sql; }) {
      this->sql = {"Insert into FileTypes (Name) values ('new')"};
    } else {
      this->pTable = "FileTypes";
      this->pRec.resize(2);
      for (DatabaseRecord& record : this->pRec) record.SetColumn("Name", "new");
    }
  }

 private:
  void DoReturnCall() override {
    Database other(Code::fGlobalDB);
    other.Connect();
    const auto rows = other.SQLSelect("Select ID from FileTypes where Name='new'");
    seen_ = {this->db->LastRowID(), Code::DBFree, rows && !rows->EndOfFile()};
    if (this->ReturnTo == "fail") throw NilObjectException();
  }
  Seen& seen_;
};

TEST_F(WritersTest, TheRightIsGivenBackBeforeOneCallBackAndAfterTheOther) {
  for (const char* return_to : {"none", "call", "fail"}) {
    Seen saved, inserted;
    Thread::Run(std::make_unique<Noting<SaveData>>(saved, return_to));
    ASSERT_TRUE(Save());
    Thread::Run(std::make_unique<Noting<InsertRecord>>(inserted, return_to));
    ASSERT_TRUE(Save());
    EXPECT_TRUE(Code::DBFree);
    const bool called = return_to != std::string("none");
    EXPECT_EQ(saved.free && saved.committed, called);
    EXPECT_EQ(inserted.committed, called);
    EXPECT_FALSE(inserted.free);
    EXPECT_EQ(inserted.id, called ? std::stoll(Stored("FileTypes", "max(ID)")) : -1);
  }
}

TEST_F(WritersTest, AWriterEndedInTheMiddleGivesTheRightBack) {
  SetSlice(0);
  Code::SaveToDB(std::vector<std::string>(500, "Update Servers Set Port=Port+1"), "none");
  ASSERT_TRUE(clock.RunUntil([] { return !Code::DBFree; }));
  EndAllThreads();
  SetSlice(8);
  EXPECT_TRUE(Code::DBFree);
  EXPECT_EQ(Code::PendingWrites(), 0);
  EXPECT_EQ(Server("Port"), "119");
}

}  // namespace
}  // namespace gravlin::testing
