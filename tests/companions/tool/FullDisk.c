// A file system without free space, as far as programs can ask. If FULL_DISK_QUOTA is set, the file system has
// space, but the user's quota of it is used up. Preloaded.
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/statvfs.h>

__attribute__((visibility("default"))) int statvfs(const char* path, struct statvfs* status) {
  (void)path;
  memset(status, 0, sizeof *status);
  status->f_frsize = 4096;
  status->f_blocks = 1000;
  status->f_bavail = getenv("FULL_DISK_QUOTA") == NULL ? 0 : 1000;
  status->f_files = 1000;
  status->f_favail = 1000;
  return 0;
}

__attribute__((visibility("default"))) int mkstemp(char* name) {
  (void)name;
  errno = EDQUOT;
  return -1;
}
