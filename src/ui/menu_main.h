// The menu bar.
#pragma once

namespace gravlin {

class MenuBar;

// Makes the three menus with all their items.  Items are known by their names, by which handlers
// are bound.
void MakeMenuMain(MenuBar& menu);

}  // namespace gravlin
