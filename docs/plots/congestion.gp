# gnuplot -e "trace='FILE'; out='congestion-line.svg'; what='TITLE'" congestion.gp
set terminal svg size 900,620 dynamic font "sans,11"
set output out
set multiplot layout 3,1 title what
set grid
set key right bottom
set ylabel "Mbit/s"
plot trace using 1:($4*1400*8e-6) with lines title "delivery rate", \
     trace using 1:($5*1400*8e-6) with lines title "pace"
set ylabel "ms"
plot trace using 1:6 with lines title "round-trip time", trace using 1:11 with lines title "queue"
set ylabel "packets"
set xlabel "seconds"
plot trace using 1:8 with lines title "under way", trace using 1:9 with lines title "limit", \
     trace using 1:10 with lines title "lost in total"
unset multiplot
