// The process, its clocks and its loadable libraries.

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/platform/Terminal.h"
#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

constexpr std::uint64_t kNanoseconds = 1'000'000'000;
constexpr std::size_t kLargePage = std::size_t{2} << 20;

std::string ReadLink(const char* path) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlink(path, target.data(), target.size());
  target.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return target;
}

// State letter of a process, or 0 when the system shows none. The name before it stands in
// parentheses and may itself hold any character, so the last one counts.
char ProcessState(ProcessId process) {
  const std::string path = "/proc/" + std::to_string(process) + "/stat";
  const OwnedFile file(Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file) return 0;
  char text[512];
  const ssize_t length = Uninterrupted([&] { return read(file.Get(), text, sizeof text); });
  if (length <= 0) return 0;
  const std::string_view line(text, static_cast<std::size_t>(length));
  const std::size_t close = line.rfind(')');
  return close != std::string_view::npos && close + 2 < line.size() ? line[close + 2] : '\0';
}

}  // namespace

ProcessId CurrentProcessId() { return static_cast<ProcessId>(getpid()); }

std::uint32_t CurrentThreadId() { return static_cast<std::uint32_t>(gettid()); }

bool IsProcessAlive(ProcessId process) {
  if (process == 0 || process > static_cast<ProcessId>(INT_MAX)) return false;
  const char state = ProcessState(process);
  if (state != 0) return state != 'Z' && state != 'X';
  return kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
}

std::uint32_t CurrentUserId() { return geteuid(); }

std::uint64_t MonotonicTicks() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNanoseconds +
         static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t MonotonicFrequency() { return kNanoseconds; }

std::int64_t UnixTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

// An absolute end, so that signals do not lengthen the sleep.
void SleepMilliseconds(std::uint32_t milliseconds) {
  const std::uint64_t end = MonotonicTicks() + std::uint64_t{milliseconds} * 1'000'000;
  timespec until{};
  until.tv_sec = static_cast<time_t>(end / kNanoseconds);
  until.tv_nsec = static_cast<long>(end % kNanoseconds);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

std::uint64_t RandomWord() {
  std::uint64_t word = 0;
  const ssize_t size = Uninterrupted([&] { return getrandom(&word, sizeof word, 0); });
  if (size != sizeof word) Trap("RandomWord: the system has no random numbers");
  return word;
}

bool GetEnvironment(const char* name, std::string* value) {
  const char* const text = std::getenv(name);
  if (text != nullptr) *value = text;
  return text != nullptr;
}

std::string UserDataFolder() {
  std::string folder;
  if (GetEnvironment("XDG_DATA_HOME", &folder) && IsRooted(folder)) return folder;
  if (GetEnvironment("HOME", &folder) && IsRooted(folder)) return folder + "/.local/share";
  return {};
}

void* AllocateBulk(std::size_t size) {
  const bool large = size >= kLargePage;
  const std::size_t alignment = large ? kLargePage : alignof(std::max_align_t);
  const std::size_t rounded = (size / alignment + 1) * alignment;
  void* const block = std::aligned_alloc(alignment, rounded);
#ifdef MADV_HUGEPAGE
  if (large && block != nullptr) static_cast<void>(madvise(block, rounded, MADV_HUGEPAGE));
#endif
  return block;
}

void FreeBulk(void* block) { std::free(block); }

// The loader knows a library by its path, but the program only as it was called.
std::string ModulePath() {
  Dl_info info{};
  link_map* map = nullptr;
  void* const here = reinterpret_cast<void*>(&ModulePath);
  const int found = dladdr1(here, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP);
  if (found == 0 || map == nullptr || map->l_name == nullptr || map->l_name[0] == '\0') {
    return ProgramPath();
  }
  return map->l_name;
}

std::string ProgramPath() { return ReadLink("/proc/self/exe"); }

// A name without a separator would be looked for along the loader's path.
Library::Library(const std::string& path, std::string* error) {
  std::string native = NativePath(path);
  if (native.find('/') == std::string::npos) native.insert(0, "./");
  handle_ = dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ != nullptr || error == nullptr) return;
  const char* const reason = dlerror();
  *error = reason != nullptr ? reason : "cannot load " + path;
}

Library Library::Program() { return Library(dlopen(nullptr, RTLD_NOW | RTLD_LOCAL)); }

Library Library::FromLoaderPath(const std::string& name) {
  if (NativePath(name).find('/') != std::string::npos) return {};
  return Library(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
}

Library::~Library() {
  if (handle_ != nullptr) dlclose(handle_);
}

Library::Library(Library&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

Library& Library::operator=(Library&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

// A library with symbols that are unique in the process stays, and so does one that others hold.
bool Library::Unload() {
  if (handle_ == nullptr) return true;
  const link_map* map = nullptr;
  const bool isNamed = dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0;
  const std::string name = isNamed ? map->l_name : "";
  dlclose(std::exchange(handle_, nullptr));
  if (isNamed) handle_ = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  return handle_ == nullptr;
}

void* Library::Symbol(const char* name) const {
  return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}

void DebugOutput(const char* text) { WriteStandard(StandardStream::Error, text); }

void Trap(const char* message) {
  DebugOutput(message);
  DebugOutput("\n");
  (void)raise(SIGTRAP);
  std::abort();
}

}  // namespace Zef::Platform
