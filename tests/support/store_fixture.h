// The base of most tests: a new store in a folder of its own, and a set clock.  Windows that a test
// leaves open are closed.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/code.h"
#include "platform/text.h"
#include "platform/window.h"
#include "store/schema.h"
#include "store/writers.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"
#include "support/test_desktop.h"

namespace gravlin::testing {

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() {
    Code::AppDataFolder = folder.Item("Gravlin");
    Code::AppDataFolder.CreateAsFolder();
    Code::fGlobalDB = folder.Item("store.rsd");
    Code::DBFree = true;
    Code::FirstRun = Code::GotMessage = false;
    Code::ArdentisMessageID = 0;
    Code::MessageFileURL.clear();
    store.SetDatabaseFile(Code::fGlobalDB);
    EXPECT_TRUE(store.CreateDatabaseFile());
    MakeSchema(store);
  }
  ~StoreTest() override {
    Window::CloseAll();
    Save();
    EndAllThreads();
    Code::DBFree = true;
    Code::NeedToLoadTypes = false;
    Code::AppDataFolder = Code::fGlobalDB = FolderItem();
  }

  // Lets the background writes end.
  bool Save() {
    return clock.RunUntil([] { return Code::PendingWrites() == 0; });
  }
  std::string Stored(const std::string& table, const std::string& column) {
    const auto rows = store.SQLSelect("Select " + column + " as v from " + table);
    return rows ? rows->Field("v").StringValue() : store.ErrorMessage();
  }
  // Writes to the store directly, after the program's own writes have ended.
  void Store(const std::string& sql) {
    Save();
    store.SQLExecute(sql);
    store.Commit();
    EXPECT_EQ(store.ErrorMessage(), "") << sql;
  }
  static std::string LastBox() { return Asked().boxes.empty() ? "" : Asked().boxes.back().text; }

  TempFolder folder;
  TestClock clock;
  Database store;
};

}  // namespace gravlin::testing
