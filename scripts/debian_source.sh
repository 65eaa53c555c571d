# Reads apt's own lists of sources; sourced by what needs more of Debian than is installed.

release_name() { . /etc/os-release && echo "$VERSION_CODENAME"; }

# Where this machine has its own release from, as the fields URIs and Signed-By of a stanza; nothing where none is found.
debian_source() {
  local suite=$1
  shopt -s nullglob
  local stanza
  stanza=$(cat_stanzas /etc/apt/sources.list.d/*.sources | awk -v suite="$suite" '
    BEGIN { RS = ""; FS = "\n" }
    {
      delete field; name = ""
      for (i = 1; i <= NF; i++) {
        if ($i ~ /^#/) continue
        if ($i ~ /^[ \t]/) { if (name != "") field[name] = field[name] "\n" $i; continue }
        name = tolower(substr($i, 1, index($i, ":") - 1))
        field[name] = substr($i, index($i, ":") + 1)
      }
      if (found || tolower(field["enabled"]) ~ /no/ || " " field["types"] " " !~ / deb /) next
      if (" " field["suites"] " " !~ (" " suite " ") || " " field["components"] " " !~ / main /) next
      print "URIs:" field["uris"]
      if ("signed-by" in field) print "Signed-By:" field["signed-by"]
      found = 1  # reads on, so that nobody writes into a closed pipe
    }')
  if [ -z "$stanza" ]; then
    stanza=$({ cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null || true; } | awk -v suite="$suite" '
      $1 == "deb" && !found {
        line = $0; signed = ""
        if (match(line, /\[[^]]*\]/)) {
          options = substr(line, RSTART + 1, RLENGTH - 2)
          line = substr(line, 1, RSTART - 1) substr(line, RSTART + RLENGTH)
          count = split(options, option, " ")
          for (i = 1; i <= count; i++) if (option[i] ~ /^signed-by=/) signed = substr(option[i], 11)
        }
        split(line, word, " ")
        if (word[3] != suite || line !~ / main( |$)/) next
        print "URIs: " word[2]
        if (signed != "") print "Signed-By: " signed
        found = 1
      }')
  fi
  [ -z "$stanza" ] || printf '%s\n' "$stanza"
}

# Files of stanzas, with an empty line between them.
cat_stanzas() {
  local file
  for file in "$@"; do cat "$file"; echo; done
}
