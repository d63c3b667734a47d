# Every model through the whole of USB: found, asked, captured from, streamed from.

== the kernel finds every model at SuperSpeed, udev opens them to the group
cameras every model
rank 1
root cat /sys/bus/usb/devices/*/speed
  prints ^5000$
root ls -l $(cat /sys/bus/usb/devices/*/uevent | sed -n s,^DEVNAME=bus,/dev/bus,p | grep -v 001$)
  prints crw-rw---- .*plugdev
  lacks  rw-rw-rw
run orqcam list
  prints serial:0000000000000001
  prints serial:0000000000000007
run su nobody -s /bin/sh -c 'orqcam list'
  status 1

== every model tells what it is
cameras every model
each
  run orqcam -c {camera} info
    prints ^serial = 0*{serial}$
    prints ^usb_speed = USB 3$
end

== raw 16 of every model is what the sensor sent
cameras every model
rank 1
each
  run orqcam -c {camera} --json capture -e 5ms -f raw16 --center 320,240 -n 2 -o /tmp/{n:02}.raw
    frames 2
    within 120
  run rm -f /tmp/*
end

== raw 8 and a region of every model are what the sensor sent
cameras every model
rank 1
each
  run orqcam -c {camera} --json capture -e 5ms -f raw8 --region 16,8,304,200 -n 2 -o /tmp/{n:02}.raw
    frames 2
    within 120
  run rm -f /tmp/*
end

== every model streams without a damaged frame
cameras every model
rank 1
each
  run orqcam -c {camera} stream -e 5ms --center 320,240 -n 20
    prints ^delivered = 20 frames
    prints ^failed = 0 frames
      prints ^identity_holds = yes
    within 120
end

== whole frames of every model are what the sensor sent
cameras every model
long
each
  run orqcam -c {camera} --json capture -e 50ms -o /tmp/{n:02}.raw
    frames 1
    within 300
  run rm -f /tmp/*
end

== a whole frame of a planetary camera is what the sensor sent
cameras k1c
run orqcam --json capture -e 10ms -n 2 -o /tmp/{n:02}.raw
  frames 2

== frames of a running video are what the sensor sent
cameras k1c,prerender=4
rank 1
run orqcam --json capture --video -e 200ms --center 640,480 -n 5 -o /tmp/{n:02}.raw
  frames 5

== binned in the camera
cameras x26m
run orqcam --json capture -b 2 --hardware-bin -e 5ms --region 0,0,640,480 -o /tmp/x.raw
  frames 1

== binned by a camera that always does so itself
cameras b29m
rank 1
for bin in 2 | 4
  run orqcam --json capture -b {bin} -e 5ms --region 0,0,320,240 -n 2 -o /tmp/{n:02}.raw --overwrite
    frames 2
end

== a camera on USB 2
cameras k1c,usb=2
root cat /sys/bus/usb/devices/*/speed
  prints ^480$
run orqcam info
  prints ^usb_speed = USB 2$
run orqcam --json capture -e 5ms --center 640,480 -n 2 -o /tmp/{n:02}.raw
  frames 2
