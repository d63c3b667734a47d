# Pulses and settling times are slept through; this program notes their length instead.
target_link_options(${name} PRIVATE -Wl,--wrap=usleep)
