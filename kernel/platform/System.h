// System: the process, its clocks, its environment and its loadable libraries.
//
// Thin, stateless wrappers; any thread may call them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Zef::Platform {

using ProcessId = std::uint32_t;

[[nodiscard]] ProcessId CurrentProcessId();
/// Identity of the calling thread, unique among the living threads of the process.
[[nodiscard]] std::uint32_t CurrentThreadId();
/// True while the process exists and has not ended; one that ended but was not yet collected by
/// its parent is dead.
[[nodiscard]] bool IsProcessAlive(ProcessId process);
/// Identity of the user, for names that must not collide between users.
[[nodiscard]] std::uint32_t CurrentUserId();

/// Ticks of a clock that never goes back, and how many of them make a second.
[[nodiscard]] std::uint64_t MonotonicTicks();
[[nodiscard]] std::uint64_t MonotonicFrequency();
/// Seconds since 1 January 1970.
[[nodiscard]] std::int64_t UnixTime();
void SleepMilliseconds(std::uint32_t milliseconds);

/// 64 bits that nobody outside the process can foresee; a trap where the system has none.
[[nodiscard]] std::uint64_t RandomWord();

/// Value of an environment variable, or false when it is not set.
[[nodiscard]] bool GetEnvironment(const char* name, std::string* value);
/// Where programs keep the data of this user; empty when the system does not tell.
[[nodiscard]] std::string UserDataFolder();
/// Path of the loaded module (program or library) that holds this code.
[[nodiscard]] std::string ModulePath();
/// Path of the running program, whichever module asks; empty when the system does not tell.
[[nodiscard]] std::string ProgramPath();

/// Memory for bulk data, aligned for any type, in large pages where there are any and the block
/// fills one. Null when there is no memory.
[[nodiscard]] void* AllocateBulk(std::size_t size);
/// Gives it back; null is allowed.
void FreeBulk(void* block);

/// A library loaded at run time, unloaded with the object. Move-only.
class Library {
 public:
  Library() = default;
  /// Loads `path`; on failure the object is empty and `error` (may be null) says why.
  Library(const std::string& path, std::string* error);
  /// The running program with what it was linked with.
  [[nodiscard]] static Library Program();
  /// Loads a file by its name, without folders, from where the system looks for libraries.
  [[nodiscard]] static Library FromLoaderPath(const std::string& name);
  ~Library();
  Library(Library&& other) noexcept;
  Library& operator=(Library&& other) noexcept;

  explicit operator bool() const { return handle_ != nullptr; }
  /// False when the system keeps the library in the process all the same; it is then still held.
  bool Unload();
  /// Address of an exported name, or null.
  [[nodiscard]] void* Symbol(const char* name) const;
  /// Leaves the library in the process for good; the object is then empty.
  void Keep() { handle_ = nullptr; }

 private:
  explicit Library(void* handle) : handle_(handle) {}

  void* handle_ = nullptr;
};

/// Writes to the debugger's or the process's error output, without buffering.
void DebugOutput(const char* text);
/// Stops the process at this place as a breakpoint does (SIGTRAP), for programming errors and where
/// nothing can go on. `message` goes to the debug output first.
[[noreturn]] void Trap(const char* message);

}  // namespace Zef::Platform
