// `polaiga-web passwd`: changes the file of users.
#pragma once

namespace polaiga::web {

// The arguments are those after "polaiga-web". Returns the exit status.
int passwd_command(int argc, char** argv);

}  // namespace polaiga::web
