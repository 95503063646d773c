# Draws the plots of docs/performance.md. Started with these variables set (gnuplot -e):
#   data    the folder with the files "times" and "growth", which the benchmark program writes
#   images  the folder for the pictures
#   theme   "light" or "dark"

is_dark = theme eq "dark"
paper = is_dark ? "#0d1117" : "#ffffff"
ink = is_dark ? "#d1d7e0" : "#1f2328"
faint = is_dark ? "#3d444d" : "#d1d9e0"
ours = is_dark ? "#4493f8" : "#0969da"
others = is_dark ? "#656c76" : "#a3adb8"

times = data . "/times"
growth = data . "/growth"

text_of(number) = sprintf(number < 10 ? "%.2f µs" : number < 100 ? "%.1f µs" : "%.0f µs", number)

set style fill solid noborder
set border 0
unset key
unset tics

# One panel per work, one bar per program, each panel with its own scale.
stats times using 3 nooutput
columns = 2
panels = STATS_blocks
rows = int(ceil(panels / real(columns)))
set terminal svg size 880, 40 + 110 * rows background rgb paper font "sans-serif,13"
set output images . "/performance-times-" . theme . ".svg"
set multiplot layout rows, columns title "Time per item" textcolor rgb ink
set lmargin 9
set rmargin 10
set tmargin 0
set bmargin 0
do for [i = 0:panels - 1] {
  set autoscale
  stats times index i using 3 nooutput
  set xrange [0:STATS_max]
  set yrange [2.8:-1.6]
  plot times index i using (0):0:(0):3:($0 - 0.36):($0 + 0.36) with boxxyerror linecolor rgb others, \
       times index i every ::0::0 using (0):0:(0):3:(-0.36):(0.36) with boxxyerror linecolor rgb ours, \
       times index i every ::0::0 using (0):(-1):1 with labels left textcolor rgb ink, \
       times index i using (0):0:2 with labels right offset -0.5, 0 textcolor rgb ink, \
       times index i using 3:0:("  " . text_of($3)) with labels left textcolor rgb ink
}
unset multiplot

set terminal svg size 880, 300 background rgb paper font "sans-serif,13"
set output images . "/performance-growth-" . theme . ".svg"
set title "Time per item, files in one folder" textcolor rgb ink
set logscale x
set xrange [*:*]
set yrange [0:*]
set offsets graph 0.05, graph 0.08, graph 0.35, 0
set lmargin 9
set rmargin 4
set tmargin 3
set bmargin 3
set border 1 linecolor rgb faint
set xtics nomirror ("10,000" 1e4, "100,000" 1e5, "1,000,000" 1e6) textcolor rgb ink
set ytics nomirror textcolor rgb ink format "%.0f µs"
set grid ytics linecolor rgb faint
plot growth using 1:2 with linespoints linewidth 2 pointtype 7 pointsize 0.7 linecolor rgb ours, \
     growth using 1:2:(text_of($2)) with labels offset 0, 1 textcolor rgb ink
