# Draws the processor time of one command and of one node by the size of the list, from the files that report.py writes:
# gnuplot -e "folder='FOLDER'; out='FILE'" plot.gnuplot
set terminal svg size 1000,470 dynamic font 'sans-serif,13' background 'white'
set output out
set multiplot layout 1,2 margins 0.08,0.82,0.14,0.9 spacing 0.09
set logscale xy
set grid ytics linecolor '#dddddd'
set tics nomirror
set border 3
set format y '%g'
set linetype 5 linecolor '#7f7f7f'
set xtics ('1' 1, '10' 10, '100' 100, '1,000' 1000, '10,000' 10000)
set ytics (0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50)
set style data linespoints
set yrange [least / 1.4:most * 1.4]
set key off
stats folder.'/encode' skip 1 nooutput
lines = STATS_columns

set title 'Encoding'
set xlabel 'commands in the message'
set ylabel 'processor time of one command, microseconds'
plot for [i = 2:lines] folder.'/encode' using 1:i linewidth 2 pointtype i pointsize 0.6 title columnheader(i)

set title 'Decoding'
set xlabel 'sensor nodes in the message'
set ylabel 'processor time of one node, microseconds'
set key at screen 0.99, screen 0.9 right top vertical reverse Left samplen 2
plot for [i = 2:lines] folder.'/decode' using 1:i linewidth 2 pointtype i pointsize 0.6 title columnheader(i)
unset multiplot
