# What the system does to a camera in use, and to the program that uses it.

== little memory for USB, one camera
cameras k1c,prerender=2
rank 1
for megabytes in 16 | 4 | 1
  root echo {megabytes} >/sys/module/usbcore/parameters/usbfs_memory_mb
  run orqcam stream -e 5ms -n 10
    prints ^delivered = 10 frames
    prints ^identity_holds = yes
end
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb

== little memory for USB, four cameras
cameras k1c,prerender=2 k1m,prerender=2 k2m,prerender=2 h53m,prerender=2
rank 1
for megabytes in 4 | 1
  root echo {megabytes} >/sys/module/usbcore/parameters/usbfs_memory_mb
  start a orqcam -c serial:0000000000000001 stream -e 10ms --center 640,480 -s 60
  shows a fps
  for other in 2 | 3 | 4
    run orqcam -c serial:000000000000000{other} stream -e 10ms --center 640,480 -n 5
      status 1
      prints the system's USB memory is used up: raise usbcore.usbfs_memory_mb
      prints ^identity_holds = yes
  end
  kill a TERM
  ends a
    status 1
    prints ^delivered = [1-9][0-9]
    prints ^failed = 0
    prints ^identity_holds = yes
end
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb

== the rules give cameras to the group of a plain login, and to nobody else
cameras k1c,prerender=2
rank 1
root su -l orq -c 'id -nG; orqcam info'
  prints plugdev
  prints ^model = .*K1C
root su -s /bin/sh nobody -c 'orqcam info'
  status 1
  prints plugdev
root d=$(dirname $(grep -l f055 /sys/bus/usb/devices/*/idVendor)); stat -c '%a %U %G' /dev/$(sed -n s/DEVNAME=//p $d/uevent)
  prints ^660 root plugdev$

== the kernel's usual limit of USB memory is raised for a camera, one that was chosen is not
cameras k1c,prerender=2
rank 1
for limits in 16 256 | 40 40
  root set -- {limits}; echo $1 >/sys/module/usbcore/parameters/usbfs_memory_mb; echo $2 >/run/expected
  usb unplug 0
  sees 0
  usb replug 0
  sees 1
  root cat /sys/module/usbcore/parameters/usbfs_memory_mb; cmp /sys/module/usbcore/parameters/usbfs_memory_mb /run/expected
end
# As the rule itself says how to go without.
root mkdir -p /etc/udev/rules.d; : >/etc/udev/rules.d/71-orqcam-usb-memory.rules; udevadm control --reload
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb
usb unplug 0
sees 0
usb replug 0
sees 1
root cat /sys/module/usbcore/parameters/usbfs_memory_mb
  prints ^16$
root rm /etc/udev/rules.d/71-orqcam-usb-memory.rules; udevadm control --reload

== a program that is killed leaves a camera that the next one can use
cameras k1c,prerender=2
rank 1
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

== any command that is killed leaves a camera that the next one can use
cameras k1c,prerender=2
long
for command in info | controls | get gain | serial | sensor-id | mode | temp | id get | id set x --yes | set gain=20 | guide north 5000 | flash dump /tmp/d | flash verify /tmp/d | reg --unsafe read fpga 0x1C | report --output /tmp/r | capture -e 20s -o /tmp/k.fits | capture -e 1ms -n 50 -o /tmp/k-{n:02}.fits | capture -e 1ms --video -n 50 --region 64,32,320,200 -o /tmp/k-{n:02}.fits | stream -e 1ms | stream -e 5ms -f raw8 --center 800,600 | stream -e 5ms -b 2 | stream -e 5ms --mode software | stream -e 5ms --auto-exposure --auto-gain | trigger --mode software -n 50 -e 5ms | trigger --mode rising -e 5ms | dark take -e 200ms | hotpixels build -e 200ms
  for life in 0.3 | 0.9
    start s orqcam --no-settings {command}
    sleep {life}
    kill s KILL
    ends s
      status 0 1 137
    run rm -rf /tmp/*; orqcam --json capture -e 5ms -g 7 --center 320,240 -o /tmp/x.raw
      frames 1
  end
end

== SIGTERM ends a stream in order
cameras k1c,prerender=2
rank 1
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
rank 1
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
cameras k1c,prerender=2
rank 1
root dmesg
  lacks BUG|Oops|WARNING:|use-after-free|Call Trace
# All transfers of one camera, and not a byte more, fit what is allowed now.
root echo 4 >/sys/module/usbcore/parameters/usbfs_memory_mb
run orqcam stream -e 5ms --center 640,480 -n 10
  prints ^in_flight_max = 8 transfers
root echo 16 >/sys/module/usbcore/parameters/usbfs_memory_mb
