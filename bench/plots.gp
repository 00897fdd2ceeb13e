# SPDX-License-Identifier: MIT
# Cost over size. Use: gnuplot -c plots.gp FOLDER_OF_DATA FOLDER_OF_PICTURES
data = ARG1; pictures = ARG2
set terminal svg size 720,420 dynamic enhanced font "sans-serif,13" background "white"
set grid lc rgb "#dddddd"
set border 3
set tics nomirror
set key left top
set style line 1 lc rgb "#0060ad" lw 2 pt 7 ps 0.6
set style line 2 lc rgb "#c04000" lw 2 pt 5 ps 0.6

set output pictures."/block-length.svg"
set title "One cyclic exchange: ComCommunication and DataCom"
set xlabel "words in the block"; set ylabel "ns"; set xrange [0:132]; set yrange [0:*]
plot data."/exchangeOfLength.dat" with linespoints ls 1 title "driver", \
     data."/plainWordsOfLength.dat" with linespoints ls 2 title "plain conversion loop"

set output pictures."/list-size.svg"
set title "ReCreatReadVarList"
set logscale xy
set xlabel "variables"; set ylabel "µs"; set xrange [8:130000]; set yrange [*:*]
set format x "10^{%L}"; set format y "10^{%L}"
plot data."/rebuild.dat" using 1:($2/1000) with linespoints ls 1 title "rebuilding the read list"

set output pictures."/stations-driver.svg"
unset logscale; set format "%g"
set title "One turn of the scheduler and its exchange, 128 words of one of N stations"
set xlabel "stations"; set ylabel "ns"; set xrange [0:66]; set yrange [0:*]
plot data."/exchangeOfStations.dat" with linespoints ls 1 title "driver"
