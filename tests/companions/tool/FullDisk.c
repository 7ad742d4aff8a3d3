// A file system without free space, as far as programs can ask. Preloaded.
#include <string.h>
#include <sys/statvfs.h>

__attribute__((visibility("default"))) int statvfs(const char* path, struct statvfs* status) {
  (void)path;
  memset(status, 0, sizeof *status);
  status->f_frsize = 4096;
  status->f_blocks = 1000;
  status->f_files = 1000;
  status->f_favail = 1000;
  return 0;
}
