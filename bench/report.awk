# Turns lines of "row, value of the program, value of the limit" into a table, JSON and a chart.
# Kinds of rows: "share" is the limit's seconds divided by the program's (1 is as fast as the limit), "times" the
# program's divided by the limit's, "seconds more" the difference; "MB" and "ms" have no limit.  A row without a reach
# is in the table but not in the chart.
BEGIN {
  FS = "\t"
  define("plain", "Download, TCP", "share", 0.60)
  define("tls", "Download, TLS", "share", 0.60)
  define("plain-decoded", "Download, TCP, to the last decoded file", "share", 0.60)
  define("plain-receiving", "TCP without the assembly between files", "share")
  define("tls-receiving", "TLS without the assembly between files", "share")
  define("gigabit", "1 Gbit/s, 20 ms, TCP", "share", 0.95)
  define("gigabit-tls", "1 Gbit/s, 20 ms, TLS", "share", 0.95)
  define("megabit50", "50 Mbit/s, 20 ms, TCP", "share", 0.98)
  define("megabit50-tls", "50 Mbit/s, 20 ms, TLS", "share", 0.98)
  define("job", "Job, 20 ms, files of 10 x 700 kB, TCP", "share", 0.98)
  define("job-tls", "Job, 20 ms, files of 10 x 700 kB, TLS", "share", 0.98)
  define("job-small", "Job, 20 ms, files of 1 x 50 kB", "share", 0.97)
  define("job-busy", "Job, 20 ms, 10 x 700 kB, one core busy", "share", 0.92)
  define("job-small-busy", "Job, 20 ms, 1 x 50 kB, one core busy", "share", 0.92)
  define("job-fast", "Job, no delay, 20 files of 10 x 700 kB", "share", 0.60)
  define("job-articles", "Job, no delay, 3,000 articles of 20 kB", "share")
  define("resumed", "Resumed, 1 GB, one part missing", "times", 1.5)
  define("whole", "Whole run", "times", 1.35)
  define("yenc-file", "yEnc, file to file", "times", 1.30)
  define("yenc-memory", "yEnc, in memory", "share", 0.35)
  define("import1000000", "Import, 1,000,000 segments", "times", 1.20)
  define("files", "Files window, one refresh", "times", 3)
  define("start", "Start", "seconds more", 0.150)
  define("memory", "Memory", "MB", 100)
  define("absence", "Event loop away", "ms", 50)
  grows["import"] = "Import, by segments"; grows["scan"] = "Launch scan, by part files"
  grows["parts"] = "One file, by parts of 10 kB"
}
function define(key, text, kind, reach) {
  order[++rows] = key; title[key] = text; kind_of[key] = kind; reach_of[key] = reach
}
$2 > 0 {
  kind = kind_of[$1]
  if (kind ~ /^(share|times|seconds more)$/ && $3 <= 0) next
  n = ++count[$1]
  program[$1] += $2; limit[$1] += $3
  ratio[$1, n] = kind == "share" ? $3 / $2 : kind == "times" ? $2 / $3 : kind == "seconds more" ? $2 - $3 : $2
  if (match($1, /[0-9]+$/)) {
    family = substr($1, 1, RSTART - 1); size = substr($1, RSTART) + 0
    if (family in grows && (!((family, size) in least) || $2 < least[family, size])) {
      if (!((family, size) in least)) sizes[family] = sizes[family] " " size
      least[family, size] = $2
    }
  }
}
function sort_row(key, n,    i, j, t) {
  for (i = 2; i <= n; ++i)
    for (j = i; j > 1 && ratio[key, j] < ratio[key, j - 1]; --j) {
      t = ratio[key, j]; ratio[key, j] = ratio[key, j - 1]; ratio[key, j - 1] = t
    }
}
# Fits a straight line to the logarithms of size and seconds; its slope is the exponent.
function tell_growth(family,    n, i, list, x, z, sx, sz, sxx, sxz, text) {
  n = split(sizes[family], list, " ")
  for (i = 1; i <= n; ++i) {
    x = log(list[i]); z = log(least[family, list[i]])
    sx += x; sz += z; sxx += x * x; sxz += x * z
    text = text sprintf("%s %d: %.3f s", i > 1 ? "," : "", list[i], least[family, list[i]])
  }
  if (n < 2) return
  exponent = (n * sxz - sx * sz) / (n * sxx - sx * sx)
  printf "| %s |%s | %.2f |\n", grows[family], text, exponent
  printf ",\n  \"%s_growth_exponent\": %.3f", family, exponent >json
}
END {
  printf "| What | Figure | Median | Min | Max | Reach | Program | Limit | Rounds |\n|---|---|---|---|---|---|---|---|---|\n"
  print "{" >json
  for (i = 1; i <= rows; ++i) {
    key = order[i]; n = count[key]
    if (!n) continue
    sort_row(key, n)
    median = n % 2 ? ratio[key, (n + 1) / 2] : (ratio[key, n / 2] + ratio[key, n / 2 + 1]) / 2
    kind = kind_of[key]; reach = reach_of[key]
    form = kind ~ /^(MB|ms)$/ ? "%.0f" : kind == "seconds more" ? "%.3f" : "%.2f"
    sign = reach == "" ? "none" : sprintf((kind == "share" ? "at least " : "at most ") form, reach)
    sides = kind ~ /^(MB|ms)$/ ? "| |" : sprintf("| %.3f s | %.3f s", program[key] / n, limit[key] / n)
    printf "| %s | %s | " form " | " form " | " form " | %s %s | %d |\n", title[key], kind, median, ratio[key, 1], \
      ratio[key, n], sign, sides, n
    printf "%s  \"%s\": {\"kind\": \"%s\", \"median\": %.4f, \"min\": %.4f, \"max\": %.4f, \"reach\": %s, \"program\": %.6f, \"limit\": %.6f, \"rounds\": %d}", \
      (told++ ? ",\n" : ""), key, kind, median, ratio[key, 1], ratio[key, n], reach == "" ? "null" : reach, \
      program[key] / n, limit[key] / n, n >json
    if (reach == "") continue
    # Drawn as speed relative to the reach, so that longer is better in each row.
    goal = kind == "share" ? median / reach : median > 0 ? reach / median : 3
    y = 40 + 30 * drawn++
    width = goal * 200; if (width > 400) width = 400
    chart = chart sprintf("<text x=\"220\" y=\"%d\" text-anchor=\"end\">%s</text><rect x=\"230\" y=\"%d\" width=\"%.1f\" height=\"18\" fill=\"%s\"/><text x=\"710\" y=\"%d\" text-anchor=\"end\">" form "%s</text>\n", \
      y + 14, title[key], y, width, goal >= 1 ? "#2a7f62" : "#c0562f", y + 14, median, \
      kind == "seconds more" ? " s" : kind ~ /^(MB|ms)$/ ? " " kind : "")
  }
  printf "\n| Growth | Fastest of each size | Exponent (at most 1.1) |\n|---|---|---|\n"
  for (family in sizes) tell_growth(family)
  print "\n}" >json
  height = 60 + 30 * drawn
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"720\" height=\"%d\" font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"720\" height=\"%d\" fill=\"#ffffff\"/>\n<text x=\"430\" y=\"20\" text-anchor=\"middle\">the reach; longer is better, the figure is the median</text>\n%s<line x1=\"430\" y1=\"28\" x2=\"430\" y2=\"%d\" stroke=\"#202020\" stroke-dasharray=\"4 3\"/>\n</svg>\n", \
    height, height, chart, height - 24 >svg
}
