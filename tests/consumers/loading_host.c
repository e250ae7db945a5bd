/* The host's tables take the place of the library's when the host loads it:
 * loading_host LIBRARY */
#include <dlfcn.h>
#include <stdio.h>

#include "host_rows.h"

static fe_fault_filter* filter(void* library, const char* name) {
  fe_fault_filter* address;
  *(void**)&address = dlsym(library, name);
  return address;
}

int main(int argc, char** argv) {
  void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  if (library == NULL) {
    printf("not loaded: %s\n", argc == 2 ? dlerror() : "usage: loading_host LIBRARY");
    return 1;
  }
  fe_fault_filter* const drive_bp = filter(library, "process_drive_bp_fault");
  fe_fault_filter* const cmc = filter(library, "process_cmc_fault");
  fe_fault_filter* const nm = filter(library, "process_nm_fault");
  if (drive_bp == NULL || cmc == NULL || nm == NULL) {
    puts("not exported");
    return 1;
  }
  return check_host_rows(drive_bp, cmc, nm);
}
