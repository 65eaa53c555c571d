#!/usr/bin/env python3
"""A user who only hears, for scripts/hands: drives Gravlin through the accessibility bus, from the Introduction to the
end of a download.

ears.py PORT NZB      the port of a news server on this machine, and the file to import

Start it first, as screen readers are.  Acts by what a screen reader gets: names, roles, values, actions and announced
changes.  Looks in each window whether all that one can hear or use has them.
"""
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE = 30  # seconds
Role = Atspi.Role
# Only these may be without a name: what holds other things, what is drawn, and the toolkit's own parts.
SILENT = {Role.FILLER, Role.SEPARATOR, Role.MENU_BAR, Role.POPUP_MENU, Role.LIST, Role.SCROLL_BAR, Role.SCROLL_PANE,
          Role.VIEWPORT, Role.TABLE_CELL, Role.PANEL}
# What one acts on has an action or takes text; what shows an amount has a value.
PRESSED = {Role.PUSH_BUTTON, Role.CHECK_BOX, Role.PAGE_TAB, Role.MENU_ITEM, Role.LINK, Role.COMBO_BOX}
VALUES = {Role.PROGRESS_BAR: "Value", Role.TEXT: "Text", Role.TABLE: "Table"}
said = []


def hear(event):
    if event.source:
        said.append(event.source.get_name() or "")


def listen(until, what):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        found = until()
        if found:
            return found
        time.sleep(0.05)
    sys.exit(f"waited in vain for {what}; heard: {said[-5:]}")


def below(item):
    yield item
    for at in range(item.get_child_count()):
        child = item.get_child_at_index(at)
        if child:
            yield from below(child)


def has(item, state):
    return item.get_state_set().contains(state)


def showing(item):
    return has(item, Atspi.StateType.SHOWING)


def program():
    desktop = Atspi.get_desktop(0)
    for at in range(desktop.get_child_count()):
        application = desktop.get_child_at_index(at)
        if application and application.get_name() == "gravlin":
            return application
    return None


def find(role, name, within=program, seen=True):
    def look():
        top = within()
        if top:
            top.clear_cache()
        for item in below(top) if top else []:
            if item.get_role() == role and item.get_name().startswith(name) and (showing(item) or not seen):
                return item
        return None
    return listen(look, f"{role.value_nick} {name!r}")


def window(title):
    return find(Role.FRAME, title)


def act(item):
    Atspi.Action.do_action(item, 0)


def press(name, role=Role.PUSH_BUTTON, **where):
    act(find(role, name, **where))


def label_of(item):
    relations = [r for r in item.get_relation_set() if r.get_relation_type() == Atspi.RelationType.LABELLED_BY]
    return relations[0].get_target(0).get_name() if relations else ""


def enter(field, text):
    item = find(Role.TEXT, field)
    Atspi.EditableText.set_text_contents(item, text)
    heard = listen(lambda: Atspi.Text.get_text(item, 0, -1), field)
    if heard != text:
        sys.exit(f"{field} holds {heard!r}")


def look_at(top):
    """Every control that shows has what its role needs."""
    count = 0
    for item in below(top):
        role, name = item.get_role(), item.get_name()
        if not showing(item):
            continue
        where = f"{top.get_name()}: {role.value_nick} {name!r}"
        # The name of a menu is its choice, so that a label must name it.
        if role not in SILENT and not (label_of(item) if role == Role.COMBO_BOX else name):
            sys.exit(f"without a name: {where} in {item.get_parent().get_name()!r}")
        if role in (Role.UNKNOWN, Role.INVALID):
            sys.exit(f"without a role: {where}")
        if role in PRESSED and has(item, Atspi.StateType.ENABLED) and not Atspi.Action.get_n_actions(item):
            sys.exit(f"cannot be used: {where}")
        if VALUES.get(role, "Accessible") not in item.get_interfaces():
            sys.exit(f"without a value: {where}")
        count += role not in SILENT
    print(f"{top.get_name()}: {count} controls with name, role and value")


def download(port, nzb):
    main = window("Gravlin")
    look_at(main)
    for step in ("Step 1", "Step 2", "Step 3", "Step 4", "Step 5", "Step 6", "More"):
        press(step, Role.PAGE_TAB)
        time.sleep(0.1)
        look_at(main)
        if step == "Step 1":
            enter("URL of the news server", "127.0.0.1")
            enter("Port", port)
            if (ssl := find(Role.COMBO_BOX, "Off")) and label_of(ssl) != "SSL:":
                sys.exit("the SSL menu is not named")
        elif step == "Step 2":
            press("Test")
            listen(lambda: "Connected to server." in said, "the test of the server")
        elif step == "Step 4":
            press("Select NZB File")
            box = find(Role.DIALOG, "")
            enter("File name:", nzb)
            press("Open", within=lambda: box)
            listen(lambda: any(" imported. Click Start" in words for words in said), "the import")
        elif step == "Step 5":
            press("Start")
            bar = find(Role.PROGRESS_BAR, "Download progress")
            listen(lambda: "Done." in said, "the end of the download")
            if Atspi.Value.get_current_value(bar) != Atspi.Value.get_maximum_value(bar):
                sys.exit(f"the bar is at {Atspi.Value.get_current_value(bar)}")


def main(port, nzb):
    Atspi.init()
    listener = Atspi.EventListener.new(hear)
    listener.register("object:property-change:accessible-name")
    if program():
        sys.exit("the program announces nothing to who comes after it")
    print("listening", flush=True)
    listen(program, "the program")
    download(port, nzb)
    press("Step 5", Role.PAGE_TAB)
    press("Show Files")
    files = window("Gravlin Files")
    find(Role.TABLE_CELL, "Yes", within=lambda: files)
    look_at(files)
    for item, title in (("File Types", "File Types"), ("PAR Decoder", "PAR"), ("RAR Decoder", "RAR"),
                        ("Test News Server", "Test"), ("About", "About")):
        press(item, Role.MENU_ITEM, seen=False)
        look_at(window(title))
    press("Exit", Role.MENU_ITEM, seen=False)


main(*sys.argv[1:])
