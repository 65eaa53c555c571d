// The catalogue of file types: which extensions the subject scanner knows, and in which order it
// tries them.
#pragma once

namespace gravlin::Code {

// Reads the table FileTypes into Types: "par" and "par2" first, then the other rows in the order of
// the table, then the wildcard rows (`r**`) once more.  Clears NeedToLoadTypes.  Without a
// connection nothing changes; if the table is empty, so is Types, and the user is asked to add a
// row.
void LoadTypes();

}  // namespace gravlin::Code
