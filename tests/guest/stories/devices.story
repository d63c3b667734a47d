# The devices in and around the cameras.

== triggers
cameras k1c,trigger=100ms
run orqcam trigger --mode software -n 3 -e 5ms --center 320,240
  prints ^frames = 3
run orqcam trigger --mode rising -n 3 -e 5ms --center 320,240
  prints ^frames = 3

== flash
cameras k1c
run orqcam id set guider --yes
run orqcam id get
  prints guider
run orqcam flash dump /tmp/flash
  within 120
run orqcam flash verify /tmp/flash
  within 120
run orqcam id set other --yes
run orqcam flash verify /tmp/flash
  status 1
  within 120
run orqcam flash restore /tmp/flash --yes
  within 120
run orqcam id get
  prints guider

== GPS
cameras t46c
run orqcam gps read
  prints ^time_source = gps
  prints ^latitude = 47.2[56]
  prints ^satellites = 11

== guide pulses
cameras k1c
run orqcam guide north 200
run orqcam guide east 50

== cooling
cameras x26m
run orqcam cooler 10 --wait --timeout 2
  status 1
run orqcam temp
  prints C$

== four cameras at once
cameras k1c,prerender=2 k1m,prerender=2 k2m,prerender=2 h53m,prerender=2
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb
start a orqcam -c serial:0000000000000001 stream -e 10ms --center 640,480 -s 8
shows a fps
start b orqcam -c serial:0000000000000002 stream -e 10ms --center 640,480 -s 6
shows b fps
start c orqcam -c serial:0000000000000003 stream -e 10ms --center 640,480 -s 4
shows c fps
start d orqcam -c serial:0000000000000004 stream -e 10ms --center 640,480 -s 2
ends a
  prints ^delivered = [1-9][0-9]
  prints ^identity_holds = yes
ends b
  prints ^delivered = [1-9][0-9]
ends c
  prints ^delivered = [1-9][0-9]
ends d
  prints ^delivered = [1-9][0-9]
  prints ^identity_holds = yes
