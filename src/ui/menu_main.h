// The menu bar.
#pragma once

namespace gravlin {

class MenuBar;

// Makes the three menus with all their items.  Handlers are bound to items by name.
void MakeMenuMain(MenuBar& menu);

}  // namespace gravlin
