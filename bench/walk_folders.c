/*
 * What a scan of asset folders cannot do without: walks the folders below ROOT, asks the system
 * for the size of every file and reads every config. Prints what it saw.
 */

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

struct Sum {
  unsigned long folders;
  unsigned long files;
  unsigned long long bytes;
  unsigned long configs;
  unsigned long long configBytes;
};

static char contents[1 << 16];

static int ReadConfig(const char* path, struct Sum* sum) {
  ssize_t size;
  int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  while ((size = read(file, contents, sizeof contents)) > 0) sum->configBytes += (size_t)size;
  ++sum->configs;
  close(file);
  return size == 0;
}

static int Walk(const char* folder, struct Sum* sum) {
  char path[4096];
  const struct dirent* entry;
  struct stat info;
  int good = 1;
  DIR* listing = opendir(folder);
  if (listing == NULL) return 0;
  ++sum->folders;
  while (good && (entry = readdir(listing)) != NULL) {
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    good = snprintf(path, sizeof path, "%s/%s", folder, entry->d_name) < (int)sizeof path &&
           lstat(path, &info) == 0;
    if (!good) break;
    if (S_ISDIR(info.st_mode)) {
      good = Walk(path, sum);
    } else {
      ++sum->files;
      sum->bytes += (unsigned long long)info.st_size;
      if (strcmp(entry->d_name, "config.txt") == 0) good = ReadConfig(path, sum);
    }
  }
  closedir(listing);
  return good;
}

int main(int argc, char** argv) {
  struct Sum sum = {0};
  if (argc != 2) {
    fprintf(stderr, "usage: walk_folders ROOT\n");
    return 2;
  }
  if (!Walk(argv[1], &sum)) {
    fprintf(stderr, "walk_folders: cannot read everything below %s\n", argv[1]);
    return 1;
  }
  printf("%lu folders, %lu files of %llu bytes, %lu configs of %llu bytes\n", sum.folders, sum.files,
         sum.bytes, sum.configs, sum.configBytes);
  return 0;
}
