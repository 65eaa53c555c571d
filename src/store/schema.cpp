// The tables and their first rows.
#include "store/schema.h"

#include <string_view>

namespace gravlin {
namespace {

constexpr std::string_view kTables[] = {
    "CREATE TABLE FileTypes (ID integer, Name varchar, Ext varchar, Note varchar, PRIMARY KEY(ID))",
    "CREATE TABLE Servers (Name varchar, URL varchar, Username varchar, Password varchar, "
    "ID integer, Port integer DEFAULT '119', SSL varchar DEFAULT 'off', PRIMARY KEY(ID))",
    "CREATE TABLE Settings (DebugOn boolean, FirstRun boolean, LastMessageID integer, "
    "ServersID integer, NewsgroupsID integer, Future1 varchar, Future2 varchar, Future3 varchar, "
    "ListColors varchar, ParTop integer, ParLeft integer, ParHeight integer, ParWidth integer, "
    "ParCols varchar, RarTop integer, RarLeft integer, RarHeight integer, RarWidth integer, "
    "OpenDownloads boolean, ID integer, PRIMARY KEY(ID))",
    "CREATE TABLE Settings_Main (ID integer, Top integer, Left integer, Height integer, "
    "Width integer, Future1 varchar, Future2 varchar, Future3 varchar, Future4 varchar, "
    "Future5 varchar, Future6 varchar, Future7 varchar, Future8 varchar, Future9 varchar, "
    "Future10 varchar, PRIMARY KEY(ID))",
    "CREATE TABLE Settings_Gravlin (ID integer, ServersID integer, ExpectedBytes double, "
    "CompletedBytes double, Name varchar, Top integer, Left integer, Height integer, "
    "Width integer, Cols varchar, FilesTop integer, FilesLeft integer, FilesHeight integer, "
    "FilesWidth integer, LastMessageID integer, FirstRun boolean, Future1 varchar, "
    "Future2 varchar, Future3 varchar, PRIMARY KEY(ID))",
    "CREATE TABLE NZBFiles (ID integer, PartsDone integer, Done varchar, ServerErrors integer, "
    "Filename varchar, TotalParts integer, TotalBytes integer, Ext varchar, Parts varchar, "
    "Groups varchar, PRIMARY KEY(ID))",
    "CREATE INDEX FileTypesExt ON FileTypes (Ext)",
    "CREATE INDEX NZBFilesFilename ON NZBFiles (Filename)",
};

// Name and extension, in the order in which the catalogue looks at them.
constexpr std::pair<std::string_view, std::string_view> kFileTypes[] = {
    {"AVI", "avi"},   {"BMP", "bmp"},       {"GIF", "gif"}, {"JPEG", "jpg"}, {"MD5", "md5"},
    {"M3U", "m3u"},   {"M4A", "m4a"},       {"MKV", "mkv"}, {"MP3", "mp3"},  {"MP4", "mp4"},
    {"MPEG", "mpg"},  {"NFO", "nfo"},       {"NZB", "nzb"}, {"PAR", "p**"},  {"PAR", "par"},
    {"PAR2", "par2"}, {"QuickTime", "mov"}, {"RAR", "rar"}, {"RAR", "r**"},  {"RAR", "s**"},
    {"Real", "ra"},   {"Real", "rm"},       {"SFV", "sfv"}, {"SRR", "srr"},  {"TS", "ts"},
    {"VOB", "vob"},   {"WMV", "wmv"},
};

DatabaseRecord SampleServer() {
  DatabaseRecord row;
  row.SetColumn("Name", "Sample Server");
  row.SetColumn("URL", "news.sample-server.example");
  row.SetIntegerColumn("Port", 119);
  row.SetColumn("SSL", "off");
  return row;
}

DatabaseRecord MainSettings() {
  DatabaseRecord row;
  row.SetIntegerColumn("Top", 50);
  row.SetIntegerColumn("Left", 50);
  row.SetIntegerColumn("Height", 442);
  row.SetIntegerColumn("Width", 512);
  return row;
}

DatabaseRecord GravlinSettings() {
  DatabaseRecord row;
  row.SetIntegerColumn("ID", 1);
  row.SetBooleanColumn("FirstRun", true);
  row.SetIntegerColumn("LastMessageID", 0);
  return row;
}

DatabaseRecord ProgramSettings() {
  DatabaseRecord row;
  row.SetBooleanColumn("DebugOn", false);
  row.SetBooleanColumn("FirstRun", true);
  row.SetIntegerColumn("LastMessageID", 0);
  row.SetIntegerColumn("ServersID", 0);
  row.SetIntegerColumn("NewsgroupsID", 0);
  row.SetColumn("Future1", "");
  row.SetColumn("Future2", "y");
  row.SetColumn("Future3", "");
  row.SetColumn("ListColors", "");
  row.SetIntegerColumn("ParTop", 100);
  row.SetIntegerColumn("ParLeft", 100);
  row.SetIntegerColumn("ParHeight", 232);
  row.SetIntegerColumn("ParWidth", 640);
  row.SetColumn("ParCols", "385,238");
  row.SetIntegerColumn("RarTop", 150);
  row.SetIntegerColumn("RarLeft", 150);
  row.SetIntegerColumn("RarHeight", 232);
  row.SetIntegerColumn("RarWidth", 640);
  row.SetBooleanColumn("OpenDownloads", true);
  return row;
}

}  // namespace

bool MakeSchema(Database& db) {
  // After a failure nothing more is tried, so that `db` keeps its reason.
  bool good = true;
  const auto execute = [&](std::string_view sql) {
    if (good) db.SQLExecute(sql);
    good = good && !db.Error();
  };
  const auto insert = [&](std::string_view table, const DatabaseRecord& row) {
    if (good) db.InsertRecord(table, row);
    good = good && !db.Error();
  };
  const auto commit = [&] {
    if (good) db.Commit();
    good = good && !db.Error();
  };
  execute("BEGIN");
  for (const std::string_view sql : kTables) execute(sql);
  commit();

  execute("BEGIN");
  insert("Servers", SampleServer());
  for (const auto& [name, extension] : kFileTypes) {
    DatabaseRecord row;
    row.SetColumn("Name", name);
    row.SetColumn("Ext", extension);
    insert("FileTypes", row);
  }
  insert("Settings_Main", MainSettings());
  insert("Settings_Gravlin", GravlinSettings());
  insert("Settings", ProgramSettings());
  commit();
  return good;
}

}  // namespace gravlin
