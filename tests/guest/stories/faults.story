# What goes wrong on a cable, and what the application is told.

== unplugged while idle
cameras k1c
usb unplug 0
sees 0
run orqcam list
  lacks serial:
run orqcam info
  status 3
usb replug 0
sees 1
run orqcam info

== unplugged while it is opened
# Nobody can tell from outside what it is doing just then: before, in the middle, or after.
cameras k1c
rank 1
for moment in 0.05 | 0.15 | 0.3 | 0.5
  start s orqcam info
  sleep {moment}
  usb unplug 0
  ends s
    within 20
    status 0 3 4
  usb replug 0
  sees 1
end
run orqcam info

== unplugged at any moment of opening
cameras k1c
long
for moment in 0.02 | 0.05 | 0.1 | 0.15 | 0.2 | 0.25 | 0.3 | 0.35 | 0.4 | 0.5 | 0.6 | 0.8
  start s orqcam info
  sleep {moment}
  usb unplug 0
  ends s
    within 20
    status 0 3 4
  usb replug 0
  sees 1
  run orqcam info
end

== unplugged while streaming
cameras k1c,prerender=2
rank 1
start s orqcam stream -e 5ms --center 640,480 -s 60
shows s fps
usb unplug 0
ends s
  within 15
  status 4
  prints the camera was lost
  prints ^identity_holds = yes
usb replug 0
sees 1
run orqcam stream -e 5ms --center 640,480 -n 5

== unplugged while exposing
cameras k1c
rank 1
start s orqcam --debug capture -e 30s -o /tmp/a.fits
shows s start capture
usb unplug 0
ends s
  within 20
  status 4
run ls -A /tmp
  lacks fits

== unplugged while it reads flash
cameras k1c,flashms=200
start s orqcam --debug flash dump /tmp/flash
shows s Direction Off:3
sleep 1
usb unplug 0
ends s
  within 20
  status 4
run ls -A /tmp
  lacks flash

== unplugged while it writes flash
cameras k1c,flashms=200
rank 1
start s orqcam --debug id set guider --yes
shows s Direction Off:3
sleep 1
usb unplug 0
ends s
  within 20
  status 4

== unplugged while guiding
cameras k1c
start s orqcam --debug guide north 4000
shows s line 0 is on
usb unplug 0
ends s
  within 20
  status 4

== unplugged while cooling
cameras x26m
start s orqcam cooler 0
shows s C
usb unplug 0
ends s
  within 20
  status 4

== a stall in the middle of a frame costs that frame only
cameras k1c,prerender=2,stall@7
rank 1
run orqcam stream -e 5ms --center 640,480 -n 20
  prints ^delivered = 20 frames
  prints ^failed_stalled = 1 frames
  prints ^halts_cleared = 1$
  prints ^identity_holds = yes

== a stall by command
cameras k1c,prerender=2
long
start s orqcam stream -e 5ms --center 640,480
shows s fps
usb stall 0
sleep 1
kill s TERM
ends s
  prints ^halts_cleared = [1-9]
  prints ^identity_holds = yes

== over-long data
cameras k1c,prerender=2
rank 1
start s orqcam stream -e 5ms --center 640,480
shows s fps
usb overflow 0
sleep 1
kill s TERM
ends s
  prints ^resyncs = [1-9]
  prints ^identity_holds = yes

== a failing transfer
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480
shows s fps
usb error 0
sleep 1
kill s TERM
ends s
  prints ^identity_holds = yes

== a camera that falls silent while it streams
cameras k1c,prerender=2
start s orqcam stream -e 5ms --center 640,480 -n 1000000
shows s fps
usb silence 0
ends s
  within 30
  status 1 4
  prints the camera sent no frame for [0-9]* s; close it and open it again|the camera was lost; check its cable
  prints ^identity_holds = yes
usb replug 0
sees 1
run orqcam info

== a camera that falls silent while it exposes
cameras k1c
long
start s orqcam capture -e 3s -o /tmp/a.fits
sleep 1
usb silence 0
ends s
  within 60
  status 1 4
run ls -A /tmp
  lacks fits

== a camera that answers nothing any more
cameras k1c
rank 1
usb silence 0
run orqcam info
  status 1
  within 40
usb replug 0
sees 1
run orqcam info

== lost, short, damaged frames
cameras k1c,prerender=2,drop=0.1,short@3,badheader@9,badtrailer@15,oversize@21,order@27
rank 1
run orqcam stream -e 5ms --center 320,240 -n 60
  prints ^delivered = 60 frames
  prints ^failed_short = [1-9]
  prints ^failed_marks = [1-9]
  prints ^lost = [1-9]
  prints ^identity_holds = yes

== saved frames among damaged ones are what the sensor sent
cameras k1c,prerender=4,short@2,badheader@4,badtrailer@6
rank 1
run orqcam --json capture --video -e 200ms --center 320,240 -n 4 -o /tmp/{n:02}.raw
  frames 4

== replugs, each followed at once by an open
cameras k1c
rank 1
repeat 4
  usb replug 0
  run for i in $(seq 100); do orqcam list 2>/dev/null | grep -q serial: && exec orqcam info; sleep 0.02; done; exit 9
    prints ^key = k1c
end

== sixty replugs, each followed at once by an open
cameras k1c
long
repeat 60
  usb replug 0
  run for i in $(seq 100); do orqcam list 2>/dev/null | grep -q serial: && exec orqcam info; sleep 0.02; done; exit 9
    prints ^key = k1c
end

== a replug while it streams, and on it goes
cameras k1c,prerender=2
start s orqcam stream --reconnect -e 5ms --center 640,480 -s 8
shows s fps
usb replug 0
shows s (?s)is back.*fps = [1-9]
ends s
  prints ^reconnects = 1$
  prints ^identity_holds = yes

== a replug in a series of exposures, and on it goes
cameras k1c
rank 1
start s orqcam --json capture --reconnect -e 500ms --center 320,240 -n 6 -o /tmp/{n:02}.raw
shows s number":2
usb replug 0
ends s
  prints "saved":6
  prints "reconnects":1

== nothing leaks in a program that lives through faults
cameras k1c,prerender=2
rank 1
start s orqcam stream --reconnect -e 5ms --center 640,480 -s 600
shows s fps = [1-9]
repeat 6
  usb stall 0
  usb error 0
  usb overflow 0
  usb replug 0
  shows s (?s)(is back.*){{turn}}is back.*fps = [1-9]
  root [ {turn} = 1 ] && held s >/run/held1; held s >/run/held; cat /run/held
end
root paste -d ' ' /run/held1 /run/held | awk '{ print; exit !($4 <= $1 + 1 && $5 <= $2 && $6 <= $3 + 2048) }'
kill s TERM
ends s
  within 15
  status 1
  prints ^reconnects = 6$
  prints ^identity_holds = yes
