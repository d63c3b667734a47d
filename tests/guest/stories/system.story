# What the system does to a camera in use, and to the program that uses it.

== little memory for USB, one camera
cameras k1c,prerender=2
root echo 4 >/sys/module/usbcore/parameters/usbfs_memory_mb
run orqcam stream -e 5ms -n 10
  prints ^delivered = 10 frames
  prints ^identity_holds = yes
root echo 1 >/sys/module/usbcore/parameters/usbfs_memory_mb
run orqcam stream -e 5ms -n 10
  prints ^delivered = 10 frames
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb

== little memory for USB, and a second camera
cameras k1c,prerender=2 k1m,prerender=2 k2m,prerender=2 h53m,prerender=2
root echo 4 >/sys/module/usbcore/parameters/usbfs_memory_mb
start a orqcam -c serial:0000000000000001 stream -e 10ms --center 640,480 -s 5
shows a fps
run orqcam -c serial:0000000000000002 stream -e 10ms --center 640,480 -n 5
  status 1
  prints the system's USB memory is used up: raise usbcore.usbfs_memory_mb
  prints ^identity_holds = yes
ends a
  prints ^delivered = [1-9][0-9]
  prints ^failed = 0
  prints ^identity_holds = yes
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb

== a program that is killed leaves a camera that the next one can use
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
kill s KILL
ends s
  status 137
run orqcam --json capture -e 5ms --center 320,240 -n 3 -o /tmp/{n:02}.raw
  frames 3

== a program that is killed while exposing
cameras k1c
start s orqcam capture -e 30s -o /tmp/a.fits
sleep 2
kill s KILL
ends s
  status 137
run orqcam --json capture -e 5ms --center 320,240 -n 2 -o /tmp/{n:02}.raw
  frames 2
  within 20

== a program that is killed in the middle of a triggered frame
cameras k1c
start s orqcam trigger --mode rising -n 3
sleep 2
kill s KILL
ends s
  status 137
run orqcam --json capture -e 5ms --center 320,240 -n 2 -o /tmp/{n:02}.raw
  frames 2
  within 20

== SIGTERM ends a stream in order
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
kill s TERM
ends s
  within 15
  status 1
  prints ^identity_holds = yes

== a second program is told that the camera is busy
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
run orqcam info
  status 1
  prints use
kill s TERM
ends s
  status 1

== deauthorised while streaming
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
root echo 0 >$(dirname $(grep -l f055 /sys/bus/usb/devices/*/idVendor))/authorized
ends s
  within 30
  status 4
  prints ^identity_holds = yes
root echo 1 >$(dirname $(grep -l f055 /sys/bus/usb/devices/*/idVendor))/authorized
sees 1
run orqcam info

== unbound and bound while streaming
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
root d=$(basename $(dirname $(grep -l f055 /sys/bus/usb/devices/*/idVendor))); echo $d >/sys/bus/usb/drivers/usb/unbind; sleep 1; echo $d >/sys/bus/usb/drivers/usb/bind
ends s
  within 30
  status 4
  prints ^identity_holds = yes
sees 1
run orqcam info

== nothing is left in the kernel's log or memory
cameras k1c
root dmesg
  lacks BUG|Oops|WARNING:|use-after-free|Call Trace
