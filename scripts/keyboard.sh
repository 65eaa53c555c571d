# A user who only has the keyboard, with real X events; sourced by what defines await and picture.

# A window manager runs.  Windows that come while it takes over the display are never shown.
managed() { xprop -root _NET_SUPPORTING_WM_CHECK | grep 0x; }
settle() { sleep 0.3; }
keys() { xdotool key --delay 40 "$@"; settle; }
words() { xdotool type --delay 15 "$1"; settle; }
dialog() { xdotool search --onlyvisible --name '^Open$' | tail -1; }
dialog_is_open() { [ -n "$(dialog)" ]; }
dialog_is_closed() { [ -z "$(dialog)" ]; }

# keyboard_download PORT NZB [SSL]: from the Introduction to the press on Start; the server is on this machine.
keyboard_download() {
  keys Right
  picture first
  keys Tab Tab Tab ctrl+a
  words 127.0.0.1
  keys Tab Tab Tab ctrl+a
  words "$1"
  [ -z "${3-}" ] || keys Tab Down shift+Tab
  picture server
  keys shift+Tab shift+Tab shift+Tab shift+Tab Right Tab Tab space
  sleep 1
  picture tested
  keys shift+Tab shift+Tab Right Right Tab space
  await dialog_is_open
  settle
  words "$2"
  keys Return
  await dialog_is_closed
  sleep 1
  keys shift+Tab Right Tab
  picture imported
  keys space
}
