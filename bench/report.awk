# From lines of "row, seconds of the program, seconds of the limit" to a table, JSON and a chart of the ratios.
# "share" rows are the limit's seconds by the program's: 1 is as fast as the limit.  The others are "times" its seconds.
BEGIN {
  FS = "\t"
  define("plain", "Download, TCP", "share", 0.60)
  define("tls", "Download, TLS", "share", 0.60)
  define("gigabit", "1 Gbit/s, 20 ms, TCP", "share", 0.95)
  define("gigabit-tls", "1 Gbit/s, 20 ms, TLS", "share", 0.95)
  define("megabit50", "50 Mbit/s, 20 ms, TCP", "share", 0.98)
  define("megabit50-tls", "50 Mbit/s, 20 ms, TLS", "share", 0.98)
  define("whole", "Whole run", "times", 1.35)
  define("yenc-file", "yEnc, file to file", "times", 1.30)
  define("yenc-memory", "yEnc, in memory", "share", 0.35)
  define("import1000000", "Import, 1,000,000 segments", "times", 1.20)
}
function define(key, text, kind, reach) {
  order[++rows] = key; title[key] = text; kind_of[key] = kind; reach_of[key] = reach
}
{
  if ($3 <= 0 || $2 <= 0) next
  n = ++count[$1]
  program[$1] += $2; limit[$1] += $3
  ratio[$1, n] = kind_of[$1] == "share" ? $3 / $2 : $2 / $3
  if ($1 ~ /^import[0-9]+$/) { size = substr($1, 7) + 0; if (!(size in least) || $2 < least[size]) least[size] = $2 }
}
function sort_row(key, n,    i, j, t) {
  for (i = 2; i <= n; ++i)
    for (j = i; j > 1 && ratio[key, j] < ratio[key, j - 1]; --j) {
      t = ratio[key, j]; ratio[key, j] = ratio[key, j - 1]; ratio[key, j - 1] = t
    }
}
END {
  printf "| What | Ratio | Median | Min | Max | Reach | Program, s | Limit, s | Rounds |\n|---|---|---|---|---|---|---|---|---|\n"
  print "{" >json
  for (i = 1; i <= rows; ++i) {
    key = order[i]; n = count[key]
    if (!n) continue
    sort_row(key, n)
    median = n % 2 ? ratio[key, (n + 1) / 2] : (ratio[key, n / 2] + ratio[key, n / 2 + 1]) / 2
    sign = kind_of[key] == "share" ? "at least" : "at most"
    printf "| %s | %s | %.2f | %.2f | %.2f | %s %.2f | %.3f | %.3f | %d |\n", title[key], kind_of[key], median, \
      ratio[key, 1], ratio[key, n], sign, reach_of[key], program[key] / n, limit[key] / n, n
    printf "%s  \"%s\": {\"kind\": \"%s\", \"median\": %.4f, \"min\": %.4f, \"max\": %.4f, \"reach\": %.2f, \"program_seconds\": %.4f, \"limit_seconds\": %.4f, \"rounds\": %d}", \
      (drawn ? ",\n" : ""), key, kind_of[key], median, ratio[key, 1], ratio[key, n], reach_of[key], program[key] / n, limit[key] / n, n >json
    # Everything as speed against what the reach asks for, so that longer is better in each row.
    goal = kind_of[key] == "share" ? median / reach_of[key] : reach_of[key] / median
    y = 40 + 30 * drawn++
    width = goal * 200; if (width > 400) width = 400
    chart = chart sprintf("<text x=\"200\" y=\"%d\" text-anchor=\"end\">%s</text><rect x=\"210\" y=\"%d\" width=\"%.1f\" height=\"18\" fill=\"%s\"/><text x=\"%.1f\" y=\"%d\">%.2f</text>\n", \
      y + 14, title[key], y, width, goal >= 1 ? "#2a7f62" : "#c0562f", 216 + width, y + 14, median)
  }
  for (size in least) {
    x = log(size); z = log(least[size]); ++points; sx += x; sz += z; sxx += x * x; sxz += x * z
    growth = growth sprintf(" %d: %.3f s;", size, least[size])
  }
  if (points > 1) {
    exponent = (points * sxz - sx * sz) / (points * sxx - sx * sx)
    printf "\nImport, growth (fastest of each size):%s exponent %.2f\n", growth, exponent
    printf ",\n  \"import_growth_exponent\": %.3f", exponent >json
  }
  print "\n}" >json
  height = 60 + 30 * drawn
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"680\" height=\"%d\" font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"680\" height=\"%d\" fill=\"#ffffff\"/>\n<text x=\"410\" y=\"20\" text-anchor=\"middle\">the reach; longer is better, the figure is the median ratio</text>\n%s<line x1=\"410\" y1=\"28\" x2=\"410\" y2=\"%d\" stroke=\"#202020\" stroke-dasharray=\"4 3\"/>\n</svg>\n", \
    height, height, chart, height - 20 >svg
}
