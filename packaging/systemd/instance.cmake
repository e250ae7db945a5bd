# Fills in where an engine keeps what it has: the server's own, or one of several servers, which has directories of its own
# below. `service` is the name of the unit.
set(named "")
set(instance "")
set(directory "")
if(service MATCHES "@\\.service$")
  set(named " %i")
  set(instance "/%i")
  set(directory " polaiga/%i")
endif()
