// The tables of a new store and its seed rows.
#pragma once

#include "store/database.h"

namespace gravlin {

// Makes tables, indices and seed rows in a new file.  False if any of them could not be made.
bool MakeSchema(Database& db);

}  // namespace gravlin
