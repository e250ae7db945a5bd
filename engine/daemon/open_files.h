// How many descriptors the process may have open, and how many clients that allows.
#pragma once

namespace polaiga::engine {

// Raises the limit of open files of this process (RLIMIT_NOFILE) to the highest that it may set, unless so many more
// descriptors can be opened already. Answers with how many more can be opened then.
int free_descriptors(int wanted);

// The limit that holds now.
int open_files_limit();

}  // namespace polaiga::engine
