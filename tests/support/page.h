// What a test compares with a page of tests/data.  GRAVLIN_RECORD=1 writes the page anew.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "paths.h"
#include "support/temp_folder.h"

namespace gravlin::testing {

inline void ExpectPage(const std::string& name, const std::string& page) {
  const std::string file = std::string(kSourceFolder) + "/tests/data/" + name + ".txt";
  if (std::getenv("GRAVLIN_RECORD")) std::ofstream(file, std::ios::binary) << page;
  EXPECT_EQ(page, ReadFile(file));
}

}  // namespace gravlin::testing
