# What the updater costs: from its start to the first frame on the screen, memory, and processor time while it installs and
# while it shows a text that does not change. Figures go to /mnt/cost.txt.
. guest/device.sh

tracing=/sys/kernel/tracing
leds
emmc
nand badblocks=9,40,41,75,263
network
screen
configure
mount -t tracefs tracefs $tracing
# The first frame is put on the screen by one of the first two, the others by the third; a start is an exec.
for call in drm_mode_setcrtc drm_mode_atomic_ioctl drm_mode_page_flip_ioctl; do
    echo "p:$call $call" >>$tracing/kprobe_events && echo 1 >$tracing/events/kprobes/$call/enable
done
echo 'filename ~ "*updater"' >$tracing/events/sched/sched_process_exec/filter
echo 1 >$tracing/events/sched/sched_process_exec/enable

ticks() { sed 's/.*) //' "/proc/$1/stat" | awk '{ print $12 + $13 }'; }
memory() { grep -E 'VmHWM|VmRSS|RssAnon|RssFile' "/proc/$1/status" | tr -s '\t \n' ' '; }
mapped() {
    awk -v file="/$1$" '/^[0-9a-f]+-/ { ours = $6 ~ file } ours && /^Rss:/ { sum += $2 } END { print "resident of '"$1"': " sum " kB" }' \
        /tmp/smaps
}
uptime_now() { cut -d' ' -f1 /proc/uptime; }

# Starts an installation of everything, and waits until the updater says how it ended.
start_update() {
    updater -f >/tmp/log 2>&1 &
    pid=$!
    until grep -q 'Update finished' /tmp/log; do usleep 100000; done
}

# One run that installs, and then shows its result for five seconds.
measure() {
    echo >$tracing/trace
    begin=$(uptime_now)
    start_update
    end=$(uptime_now)
    spent=$(ticks $pid)
    usleep 1000000 # the result is on the screen now, or soon
    echo "memory: $(memory $pid)"
    cp /proc/$pid/smaps /tmp/smaps
    wait $pid
    mapped updater
    mapped liblumostb.so
    mapped liblumostb-sdl.so
    awk '/sched_process_exec/ { start = $4 + 0 } /drm_mode_(setcrtc|page_flip|atomic)/ && start && !frame { frame = $4 + 0 }
        END { printf "start to first frame: %.2f s\n", frame - start }' $tracing/trace
    grep -c 'drm_mode_' $tracing/trace | sed 's/^/frames on the screen: /'
    awk -v b="$begin" -v e="$end" -v t="$spent" 'BEGIN { printf "run until installed: %.1f s, processor %.1f s\n", e - b, t / 100 }'
}

# A run whose flash fails, and which says so for ever: what a picture costs that does not change.
measure_still() {
    rmmod nandsim
    nand parts=8,23 weakblocks=12:1 # no room behind the block that fails its second erase
    flash_erase --quiet /dev/mtd1 0 0
    start_update
    usleep 15000000
    first=$(ticks $pid)
    usleep 10000000
    echo "showing a text for 10 s: processor $((($(ticks $pid) - first) * 10)) ms"
    echo "memory: $(memory $pid)"
    kill -9 $pid
}

{
    for round in first second third; do
        echo "$round"
        measure
    done
    measure_still
} >cost.txt
cat cost.txt
