# Draws the watchdog's time line as SVG; the seconds come from src/engine/driver_timer.cpp, which is what it reads.
/kSilenceShown = / { match($0, /[0-9]+/); shown = substr($0, RSTART, RLENGTH) + 0 }
/kSilenceAllowed = / { match($0, /[0-9]+/); allowed = substr($0, RSTART, RLENGTH) + 0 }

function x(second) { return 40 + second * 720 / (allowed + 6) }
function text(at, y, anchor, words, weight) {
  printf "<text x=\"%.1f\" y=\"%d\" text-anchor=\"%s\"%s>%s</text>\n", at, y, anchor, weight ? " font-weight=\"bold\"" : "", words
}
function span(from, to, colour, above, below) {
  printf "<rect x=\"%.1f\" y=\"70\" width=\"%.1f\" height=\"44\" fill=\"%s\" stroke=\"#4a5a66\"/>\n", x(from), x(to) - x(from), colour
  text((x(from) + x(to)) / 2, 89, "middle", above, 1)
  text((x(from) + x(to)) / 2, 106, "middle", below)
}
function mark(second, words, more) {
  printf "<line x1=\"%.1f\" y1=\"56\" x2=\"%.1f\" y2=\"134\" stroke=\"#202020\" stroke-width=\"2\"/>\n", x(second), x(second)
  text(x(second), 48, "middle", second " s", 1)
  text(x(second), 150, second ? "middle" : "start", words)
  text(x(second), 166, second ? "middle" : "start", more)
}

END {
  if (!shown || !allowed) { print "no seconds found" > "/dev/stderr"; exit 1 }
  print "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"800\" height=\"184\" font-family=\"DejaVu Sans, Verdana, sans-serif\" font-size=\"12\">"
  print "<rect width=\"800\" height=\"184\" fill=\"#ffffff\"/>"
  text(40, 22, "start", "Seconds of silence; the tick looks at them every second, except while a file is joined or decoded")
  span(0, shown, "#e4f4ec", "patience", "nothing is said")
  span(shown, allowed, "#fdf6d8", "countdown", "the status line shows the seconds left")
  span(allowed, allowed + 6, "#f9d9d0", "", "")
  for (second = 1; second < allowed + 6; ++second)
    printf "<line x1=\"%.1f\" y1=\"114\" x2=\"%.1f\" y2=\"%d\" stroke=\"#4a5a66\"/>\n", x(second), x(second), second % 10 ? 118 : 122
  mark(0, "a command goes out or", "data comes: from the start")
  mark(shown, "“No response since …”;", "a sign-off without an answer ends")
  mark(allowed, "Reconnect: a new", "connection, the same file")
  print "</svg>"
}
