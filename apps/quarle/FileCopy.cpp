#include "apps/quarle/FileCopy.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernel/platform/FileSystem.h"

namespace {

using namespace Zef::Platform;

constexpr std::size_t kSpan = 1u << 20;

/// Closes with the object; Close tells whether that worked.
class OpenedFile {
 public:
  OpenedFile(const std::string& path, const OpenOptions& options)
      : handle_(OpenFile(path, options)) {}
  ~OpenedFile() { static_cast<void>(Close()); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  explicit operator bool() const { return handle_ != kNoFile; }
  FileHandle Handle() const { return handle_; }
  bool Close() {
    const FileHandle handle = handle_;
    handle_ = kNoFile;
    return handle == kNoFile || CloseFile(handle);
  }

 private:
  FileHandle handle_;
};

bool CopyBytes(FileHandle from, FileHandle to) {
  std::vector<std::byte> span(kSpan);
  std::uint64_t offset = 0;
  while (true) {
    const std::int64_t size = ReadAt(from, span.data(), span.size(), offset);
    if (size <= 0) return size == 0;
    if (WriteAt(to, span.data(), static_cast<std::size_t>(size), offset) != size) return false;
    offset += static_cast<std::uint64_t>(size);
  }
}

}  // namespace

bool CopyFileWhole(const std::string& from, const std::string& to) {
  const std::string temporary = to + ".tmp";
  const OpenedFile in(from, {.sharing = Sharing::DenyWrite});
  if (!in) return false;
  OpenedFile out(temporary, {.write = true, .creation = Creation::Truncate});
  if (!out) return false;
  CopyPermissions(in.Handle(), out.Handle());
  bool copied = CopyBytes(in.Handle(), out.Handle()) && FlushFile(out.Handle());
  copied = out.Close() && copied;
  if (copied && Replace(temporary, to)) return true;
  static_cast<void>(DeleteFile(temporary));
  return false;
}
