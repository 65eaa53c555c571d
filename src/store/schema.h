// The tables of a new store and its seed rows.
#pragma once

#include "store/database.h"

namespace gravlin {

// Makes tables, indices and seed rows in a freshly made file.  False if the file holds less.
bool MakeSchema(Database& db);

}  // namespace gravlin
