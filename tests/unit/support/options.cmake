# The failures that POSIX thread functions report cannot be provoked from outside, so this program puts its own
# functions in their place.
foreach(function pthread_mutexattr_init pthread_mutexattr_settype pthread_mutex_init pthread_mutex_destroy
                 pthread_mutexattr_destroy pthread_create pthread_join pthread_detach)
  target_link_options(${name} PRIVATE -Wl,--wrap=${function})
endforeach()
