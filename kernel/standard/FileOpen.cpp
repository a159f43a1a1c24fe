// Opening, detection of compressed content, closing.

#include "kernel/standard/File.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/Subst.h"

namespace Zef {

namespace {

// Archives of this version hold CFIL data behind the magic alone.
constexpr std::uint32_t kShortHeaderVersion = 257;

std::atomic<std::uint32_t> openCount{0};

// Names and texts in turns. The text of 8 and the name of 9 ran together long ago and callers
// print them, so everything behind them stands one place early.
constexpr const char* kStatusTable[] = {
    "RES_UNKNOWN",
    "Unknown file error",
    "RES_FILENOTFOUND",
    "File not found",
    "RES_ALREADYOPEN",
    "File is already open",
    "RES_MODENOTSUPPORTED",
    "Open mode not supported",
    "RES_CANTWRITECOMPRESSED",
    "Can't write to a compressed file",
    "RES_NOTCOMPRESSED",
    "Can't open non-compressed as read compressed file",
    "RES_SUBSTNOTFOUND",
    "Subst not found",
    "RES_FILEALREADYEXISTS",
    "File already existsRES_READONLY",
    "File is read-only",
    nullptr,
};

const char* StatusEntry(std::uint32_t status, std::uint32_t column) {
  if (status == RES_OK) return nullptr;
  const std::uint64_t index = (std::uint64_t{status} - 1) * 2 + column;
  return index < std::size(kStatusTable) ? kStatusTable[index] : nullptr;
}

bool IsSupported(std::uint32_t mode) {
  return (mode & FileMode::kWriteMask) <= FileMode::kWriteCompressed &&
         (mode & FileMode::kReadMask) <= FileMode::kReadCompressed &&
         (mode & FileMode::kCreateMask) <= FileMode::kCreateNew &&
         (mode & ~(FileMode::kWriteMask | FileMode::kReadMask | FileMode::kCreateMask)) == 0;
}

// What an opening answers that yields no handle, whatever the reason.
FileStatus FailureOf(std::uint32_t mode, bool belowSubst) {
  if (belowSubst && (mode & FileMode::kReadMask) != 0) return RES_FILENOTFOUND;
  return (mode & FileMode::kCreateMask) == FileMode::kCreateNew ? RES_FILEALREADYEXISTS
                                                                : RES_FILENOTFOUND;
}

std::uint32_t WithReadNibble(std::uint32_t mode, std::uint32_t nibble) {
  return (mode & ~FileMode::kReadMask) | nibble;
}

}  // namespace

const char* FileStatusName(std::uint32_t status) { return StatusEntry(status, 0); }
const char* FileStatusText(std::uint32_t status) { return StatusEntry(status, 1); }

std::uint32_t File::OpenCount() { return openCount; }

File::File() : buffer_(static_cast<std::uint8_t*>(BlockAllocator::Allocate(kBufferSize))) {
  if (buffer_ == nullptr) throw std::bad_alloc();
}

File::~File() {
  try {
    Close();
  } catch (...) {
    // Who wants to know whether the last bytes arrived calls Close.
  }
  ReleaseHandle();
  BlockAllocator::Free(buffer_);
}

FileStatus File::Open(const char* path, std::uint32_t mode, std::uint32_t encoding) {
  PString subst;
  std::string_view rest = path == nullptr ? std::string_view() : path;
  static_cast<void>(FindSubst(rest, &subst, &rest));
  return OpenResolved(subst, rest, mode, encoding);
}

FileStatus File::Open(const PString& subst, const char* path, std::uint32_t mode,
                      std::uint32_t encoding) {
  return OpenResolved(subst, path == nullptr ? std::string_view() : path, mode, encoding);
}

FileStatus File::OpenResolved(const PString& subst, std::string_view path, std::uint32_t mode,
                              std::uint32_t encoding) {
  if (IsOpen()) return RES_ALREADYOPEN;
  if (!IsSupported(mode)) return RES_MODENOTSUPPORTED;
  if (!subst.IsEmpty() && !SubstList::Get().Contains(subst)) return RES_SUBSTNOTFOUND;
  // Nothing stays behind of an opening that is refused or raises.
  struct Attempt {
    File& file;
    ~Attempt() {
      if (file.open_) return;
      file.ReleaseHandle();
      file.Reset();
    }
  } attempt{*this};
  mode_ = mode;
  encoding_ = encoding;
  subst_ = subst;
  if (!subst.IsEmpty()) path_ = path;
  const bool opened = subst.IsEmpty() ? OpenDirect(std::string(path)) : OpenBelow(subst, path);
  const FileStatus status = opened ? FinishOpen() : FailureOf(mode, !subst.IsEmpty());
  if (status != RES_OK) return status;
  open_ = true;
  openCount++;
  return RES_OK;
}

FileStatus File::Reopen(std::uint32_t mode) {
  if (!IsOpen()) return RES_FILENOTFOUND;
  const PString subst = subst_;
  const std::string path = subst.IsEmpty() ? origin_.name : path_;
  const std::uint32_t encoding = encoding_;
  Close();
  return OpenResolved(subst, path, mode, encoding);
}

bool File::OpenBelow(const PString& subst, std::string_view path) {
  SubstList& list = SubstList::Get();
  const bool reads = (mode_ & FileMode::kReadMask) != 0;
  return reads ? list.OpenForRead(subst, *this, path, mode_)
               : list.OpenForWrite(subst, *this, path, mode_);
}

bool File::OpenDirect(std::string path) {
  Opened opened;
  opened.handle = Platform::OpenFile(path, SystemOptions(mode_)).Release();
  if (opened.handle == Platform::kNoFile) return false;
  opened.name = std::move(path);
  Adopt(std::move(opened));
  return true;
}

Platform::OpenOptions File::SystemOptions(std::uint32_t mode) {
  using Platform::Creation;
  constexpr Creation kCreations[] = {Creation::OpenExisting, Creation::Truncate,
                                     Creation::OpenOrCreate, Creation::CreateNew};
  const bool writes = (mode & FileMode::kWriteMask) != 0;
  return {writes, kCreations[(mode & FileMode::kCreateMask) >> 8],
          writes ? Platform::Sharing::DenyAll : Platform::Sharing::DenyWrite};
}

void File::Adopt(Opened opened) {
  ReleaseHandle();
  origin_ = std::move(opened);
  if (origin_.source != nullptr) origin_.source->openFiles++;
}

// Everything between the open handle and the first read or write.
FileStatus File::FinishOpen() {
  const std::uint32_t creation = mode_ & FileMode::kCreateMask;
  const std::uint32_t reading = mode_ & FileMode::kReadMask;
  if (FileMode::IsCompressing(mode_)) {
    const FileStatus status = PrepareCompression();
    if (status != RES_OK) return status;
  }
  size_ = origin_.storedSize;
  if (creation == 0) {
    const bool detects = reading == FileMode::kRead || reading == FileMode::kReadCompressed;
    return detects ? DetectCompression() : RES_OK;
  }
  if (reading == FileMode::kRead) mode_ = WithReadNibble(mode_, FileMode::kReadRaw);
  if (creation != FileMode::kAppend) {
    size_ = 0;
    return RES_OK;
  }
  const std::int64_t length = Platform::FileSize(origin_.handle);
  if (length < 0) return RES_UNKNOWN;
  position_ = bufferStart_ = length;
  return RES_OK;
}

// The rename that ends a compression must hit this file, wherever the process has gone, and
// nothing but a file. What an archive opened has no name on disk.
FileStatus File::PrepareCompression() {
  const FileSub* source = origin_.source;
  if (origin_.borrowed || (source != nullptr && !source->IsKind(FileSubKind::Folder))) {
    return RES_OK;
  }
  if (!Platform::IsRegularFile(origin_.handle)) return RES_FILENOTFOUND;
  std::string absolute = Platform::CanonicalPath(origin_.name);
  if (absolute.empty()) return RES_UNKNOWN;
  origin_.name = std::move(absolute);
  return RES_OK;
}

// Reads what may be a CFIL header. In a plain file those bytes stay as the buffer's content.
FileStatus File::DetectCompression() {
  using namespace CompressedFormat;
  const bool shortForm =
      origin_.source != nullptr && origin_.source->Version() == kShortHeaderVersion;
  const std::uint32_t header = shortForm ? kShortHeaderSize : kHeaderSize;
  std::int64_t wanted = header;
  if (origin_.storedSize >= 0) wanted = std::min(wanted, origin_.storedSize);
  const std::int64_t got = Platform::ReadAt(origin_.handle, buffer_,
                                            static_cast<std::size_t>(wanted), origin_.dataStart);
  if (got < 0) return RES_UNKNOWN;
  std::uint32_t words[3] = {};
  std::memcpy(words, buffer_, static_cast<std::size_t>(got));
  if (got < header || words[0] != kMagic) {
    if (got == header && (mode_ & FileMode::kReadMask) == FileMode::kReadCompressed) {
      return RES_NOTCOMPRESSED;
    }
    bufferBytes_ = static_cast<std::uint32_t>(got);
    mode_ = WithReadNibble(mode_, FileMode::kReadRaw);
    return RES_OK;
  }
  if ((mode_ & FileMode::kWriteMask) != 0) return RES_CANTWRITECOMPRESSED;
  const bool hasSize = !shortForm && words[1] >= kVersion;
  return OpenBlocks(header, hasSize ? std::int64_t{words[2]} : origin_.size);
}

FileStatus File::OpenBlocks(std::uint32_t header, std::int64_t size) {
  if (size > CompressedFormat::kLargestFile) return RES_UNKNOWN;
  const std::int64_t length = Platform::FileSize(origin_.handle);
  if (length < 0) return RES_UNKNOWN;
  auto end = static_cast<std::uint64_t>(length);
  if (origin_.storedSize >= 0) {
    end = std::min(end, origin_.dataStart + static_cast<std::uint64_t>(origin_.storedSize));
  }
  mode_ = WithReadNibble(mode_, FileMode::kReadCompressed);
  blocks_ = std::make_unique<CompressedBlocks>(origin_.handle, origin_.dataStart + header, end,
                                               size < 0 ? -1 : size);
  return RES_OK;
}

void File::Close() {
  if (!IsOpen()) return;
  struct Ending {
    File& file;
    ~Ending() {
      file.ReleaseHandle();
      file.Reset();
      openCount--;
    }
  } ending{*this};
  // A source has to let go of the file even when the last bytes are lost.
  std::exception_ptr failure;
  try {
    Flush();
  } catch (...) {
    failure = std::current_exception();
  }
  try {
    if (origin_.source != nullptr) {
      origin_.source->CloseFile(*this);
    } else {
      FinishOnDisk();
    }
  } catch (...) {
    if (!failure) failure = std::current_exception();
  }
  if (failure) std::rethrow_exception(failure);
}

void File::FinishOnDisk() {
  if (origin_.borrowed || origin_.handle == Platform::kNoFile) return;
  if (FileMode::IsCompressing(mode_) && !writeFailed_) CompressFile(origin_.handle, origin_.name);
  const bool closed = Platform::CloseFile(std::exchange(origin_.handle, Platform::kNoFile));
  const bool written = (mode_ & FileMode::kWriteMask) != 0;
  if (written && !closed) RaiseFileEx("WriteBuffer(void) Writing failed");
}

void File::ReleaseHandle() {
  if (!origin_.borrowed && origin_.handle != Platform::kNoFile) {
    Platform::CloseFile(origin_.handle);
  }
  origin_.handle = Platform::kNoFile;
  if (origin_.source != nullptr) std::exchange(origin_.source, nullptr)->ReleaseFile();
}

void File::Reset() {
  origin_ = Opened();
  subst_ = PString();
  path_.clear();
  blocks_.reset();
  bufferStart_ = position_ = 0;
  bufferBytes_ = 0;
  dirty_ = writeFailed_ = open_ = false;
  size_ = -1;
  mode_ = 0;
}

}  // namespace Zef
