# How much a stream costs beside the least program that reads the same endpoint.

== throughput beside the least reader
# In turn, so that what else the computer does strikes both; long enough that a program's start counts for little.
cameras k1c,prerender=8
long
repeat 3
  run (time -p orqcam --no-settings stream -e 1ms -f raw16 -n 1000) >/tmp/o 2>&1; cat /tmp/o; sed -n 's/^rate = \([0-9.]*\) MB.*/orqcam \1 MB per s/p' /tmp/o | tail -n 1 >>/tmp/rates; awk '/^(user|sys) / { sum += $2 } END { print "orqcam", sum }' /tmp/o >>/tmp/processor; (echo orqcam; grep -E '^(rate|delivered)' /tmp/o | tail -n 2; tail -n 3 /tmp/o) | tr '\n' ' ' >>/tmp/note; echo >>/tmp/note
    prints ^identity_holds = yes
  run (time -p libusb_reader 0x1101 1000 16 1000) >/tmp/r 2>&1; cat /tmp/r; sed -n 's/^rate = \([0-9.]*\).*/reader \1 MB per s/p' /tmp/r >>/tmp/rates; awk '/^(user|sys) / { sum += $2 } END { print "reader", sum }' /tmp/r >>/tmp/processor; (echo reader; tr '\n' ' ' </tmp/r) | tr '\n' ' ' >>/tmp/note; echo >>/tmp/note
end
run awk '!($1 in least) || $2 < least[$1] { least[$1] = $2 } END { print "processor time, orqcam / reader:", least["orqcam"] / least["reader"] }' /tmp/processor | tee -a /tmp/note
  prints ^processor time
note speed
run awk '{ sum[$1] += $2 } END { print "ratio", sum["orqcam"] / sum["reader"]; exit !(sum["orqcam"] >= 0.8 * sum["reader"]) }' /tmp/rates
  prints ^ratio

== twenty gigabytes
cameras k1c,prerender=8
long
run orqcam --no-settings stream -e 1ms -f raw16 -n 4713
  prints ^delivered = 4713 frames
  prints ^failed = 0 frames
  prints ^identity_holds = yes
  within 900

== a hundred thousand frames with random faults
cameras k1c,prerender=4,drop=0.01,timescale=0,short@100,stall@1000,badheader@2000,error@5000,oversize@9000,stall@20000,badtrailer@50000,order@70000
long
run orqcam --no-settings stream -e 1ms -f raw8 --center 64,48 -n 100000
  prints ^delivered = 100000 frames
  prints ^identity_holds = yes
  within 900
