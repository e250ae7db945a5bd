// Makes a build fail while it is unloaded.
#include <cstdlib>

[[gnu::destructor]] static void leave() { std::_Exit(4); }
