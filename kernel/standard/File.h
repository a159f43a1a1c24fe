// File: the one buffered file of the system.
//
// Reads and writes plain files, files inside a substitution (folder or archive) and CFIL
// compressed files, which it detects on opening. Opening answers a status; every failure after
// that raises FileEx. A file belongs to one thread. Buffer: 16384 bytes; larger transfers go
// past it. Sizes and positions are 64-bit; what a format cannot hold, its writer refuses.
//
// The state after a raised failure is undefined except that Close works. The destructor closes
// and swallows what Close would raise.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kernel/BlockAllocator.h"
#include "kernel/standard/PString.h"

namespace Zef {

class CompressedBlocks;
class FileSub;
struct FileEntry;

namespace Platform {
struct OpenOptions;
}

/// Results of opening and of the path operations.
enum FileStatus : std::uint32_t {
  RES_OK = 0,
  RES_UNKNOWN = 1,
  RES_FILENOTFOUND = 2,
  RES_ALREADYOPEN = 3,
  RES_MODENOTSUPPORTED = 4,
  RES_CANTWRITECOMPRESSED = 5,
  RES_NOTCOMPRESSED = 6,
  RES_SUBSTNOTFOUND = 7,
  RES_FILEALREADYEXISTS = 8,
  RES_FILEREADONLY = 9,
};

/// Text of a status; the table's slips are part of it. Null for 0 and for codes past the table.
const char* FileStatusName(std::uint32_t status);
const char* FileStatusText(std::uint32_t status);

/// Nibbles of an open mode.
namespace FileMode {
inline constexpr std::uint32_t kWrite = 0x0001;
inline constexpr std::uint32_t kWriteCompressed = 0x0002;  ///< compress when the file is closed
inline constexpr std::uint32_t kRead = 0x0010;             ///< detect CFIL
inline constexpr std::uint32_t kReadRaw = 0x0020;          ///< plain bytes whatever they are
inline constexpr std::uint32_t kReadCompressed = 0x0030;   ///< refuse a plain file
inline constexpr std::uint32_t kCreate = 0x0100;           ///< create, truncating
inline constexpr std::uint32_t kAppend = 0x0200;           ///< open or create, at the end
inline constexpr std::uint32_t kCreateNew = 0x0300;        ///< fail if it exists
inline constexpr std::uint32_t kCreateWrite = 257;         ///< what writers pass
inline constexpr std::uint32_t kWriteMask = 0x000F;
inline constexpr std::uint32_t kReadMask = 0x00F0;
inline constexpr std::uint32_t kCreateMask = 0x0F00;

constexpr bool IsCompressing(std::uint32_t mode) { return (mode & kWriteMask) == kWriteCompressed; }
}  // namespace FileMode

class File : public KernelObject {
 public:
  static constexpr std::uint32_t kBufferSize = 16384;

  class Find;
  using Entry = FileEntry;  ///< what a search yields

  File();
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Opens a path that may begin with a substitution prefix. Paths have no length limit here;
  /// the part handed to a substitution must fit a FilePath.
  [[nodiscard]] FileStatus Open(const char* path, std::uint32_t mode, std::uint32_t encoding = 1);
  /// Opens below a substitution; a null or empty name means none, an unknown one answers 7.
  [[nodiscard]] FileStatus Open(const PString& subst, const char* path, std::uint32_t mode,
                                std::uint32_t encoding = 1);
  /// Closes, and opens the same name again through the same substitution, or the same path of the
  /// operating system. A file that is not open answers 2; a refusal leaves it closed.
  [[nodiscard]] FileStatus Reopen(std::uint32_t mode);
  /// Flushes, compresses if the mode asks for it, closes. May raise FileEx; closed all the same.
  void Close();
  /// Takes back what was written, for a writer that cannot go on: closing then puts nothing into an
  /// archive and compresses nothing.
  void Abandon() { writeFailed_ = true; }
  bool IsOpen() const;

  /// Items read; a zero size gives 0. Fewer only at the end.
  std::size_t Read(void* to, std::size_t size, std::size_t count);
  std::size_t Write(const void* from, std::size_t size, std::size_t count);
  /// Origin 0 from the start, 1 from here, 2 back from the end (the offset is subtracted); any
  /// other origin returns -1. Result 0.
  int Seek(std::int64_t offset, int origin);
  std::int64_t Size();
  std::int64_t Tell() const;
  /// Writes what is buffered and waits until it is on the device.
  void FlushToDevice();

  /// At most limit-1 characters without the line end (CR, LF or CRLF); false at the end with
  /// nothing read. Encoding 2 narrows UTF-16LE to the code page, '?' for what has no place.
  bool ReadLine(char* line, std::uint32_t limit, std::uint32_t encoding);
  void WriteText(const char* text, std::uint32_t encoding);
  /// Looks for a UTF-16LE mark: sets encoding 2 behind it, else 1 at the start.
  void DetectEncoding();
  std::uint32_t Encoding() const;
  std::uint32_t Mode() const;
  /// The name as resolved by the source or given to the operating system.
  /// Absolute when the file will be compressed on closing.
  const std::string& Name() const;

  // Path operations on names with or without a substitution prefix.
  /// `substName` may be null; receives the substitution that was asked, null for none.
  static FileStatus Exists(const char* path, PString* substName = nullptr);
  static FileStatus IsReadOnly(const char* path);
  /// Modification time in seconds since 1970.
  [[nodiscard]] static bool GetTime(const char* path, std::uint32_t* time);
  [[nodiscard]] static bool Delete(const char* path);
  [[nodiscard]] static bool Rename(const char* from, const char* to);
  [[nodiscard]] static bool MakeFolder(const char* path);
  /// Deletes a folder and all below it; true for one that is not there. Below a substitution, false
  /// also when none of its sources is there and may be changed.
  [[nodiscard]] static bool DeleteFolder(const char* path);
  [[nodiscard]] static bool SetReadOnly(const char* path, bool readOnly);

  // The same below a substitution, where a path has no prefix. A null or empty name means a path of
  // the operating system; an unknown one answers 2 or false.
  static FileStatus Exists(const PString& subst, const char* path);
  static FileStatus IsReadOnly(const PString& subst, const char* path);
  [[nodiscard]] static bool GetTime(const PString& subst, const char* path, std::uint32_t* time);
  [[nodiscard]] static bool Delete(const PString& subst, const char* path);
  [[nodiscard]] static bool Rename(const PString& subst, const char* from, const char* to);
  [[nodiscard]] static bool MakeFolder(const PString& subst, const char* path);
  [[nodiscard]] static bool DeleteFolder(const PString& subst, const char* path);
  [[nodiscard]] static bool SetReadOnly(const PString& subst, const char* path, bool readOnly);

  /// Files open at the moment, in the whole process.
  static std::uint32_t OpenCount();

  // The narrow door for sources (FileSub). A source opens the system file, calls Adopt once from
  // OpenForRead or OpenForWrite, and later gets the file back in CloseFile, where a folder calls
  // FinishOnDisk and an archive looks at Origin, Mode and Size.

  /// What a source knows about a file that it opened.
  struct Opened {
    std::int32_t handle = -1;
    bool borrowed = false;         ///< the handle stays the source's: never closed by the file
    std::uint64_t dataStart = 0;   ///< offset of the file's first byte behind the handle
    std::int64_t storedSize = -1;  ///< bytes from dataStart on that are this file's; -1: all
    std::int64_t size = -1;        ///< logical size of CFIL data whose header has none; -1: unknown
    std::string name;              ///< resolved name; of a folder's file the path on disk
    FileSub* source = nullptr;
  };

  /// Takes over what the source opened and counts the file in `source->openFiles`; closing gives
  /// the count back by FileSub::ReleaseFile. The file closes the handle (unless borrowed) even
  /// when opening fails later on.
  void Adopt(Opened opened);
  const Opened& Origin() const { return origin_; }
  /// True when bytes were lost: the content is not what was meant and must not pass for it.
  bool WriteFailed() const { return writeFailed_; }
  /// How the system is to open a file of this mode: access, creation and sharing.
  static Platform::OpenOptions SystemOptions(std::uint32_t mode);
  /// Closes the handle; in a compressing mode first replaces the file by its CFIL form. Raises
  /// FileEx; the handle is closed all the same and the uncompressed file kept.
  void FinishOnDisk();

 private:
  FileStatus OpenResolved(const PString& subst, std::string_view path, std::uint32_t mode,
                          std::uint32_t encoding);
  bool OpenBelow(const PString& subst, std::string_view path);
  bool OpenDirect(std::string path);
  FileStatus FinishOpen();
  FileStatus PrepareCompression();
  FileStatus DetectCompression();
  FileStatus OpenBlocks(std::uint32_t header, std::int64_t size);
  void ReleaseHandle();
  void Reset();

  void RequireReading();
  std::size_t ReadBytes(std::uint8_t* to, std::size_t size);
  std::size_t ReadNext(std::uint8_t* to, std::size_t size);
  bool FillBuffer();
  int PeekByte();
  std::int32_t PeekCharacter(std::uint32_t encoding);
  void TakeCharacter(std::uint32_t encoding);
  std::uint32_t TakeLineBytes(char* line, std::uint32_t room);
  void WriteBytes(const std::uint8_t* from, std::size_t size);
  void WritePhysical(const std::uint8_t* from, std::size_t size, const char* failure);
  void MoveOn(std::size_t bytes);
  void Flush();
  void DropBuffer();
  void MoveTo(std::int64_t target);

  // The position is always in the buffer's range or at its end.
  std::uint8_t* buffer_;
  std::int64_t bufferStart_ = 0;   // logical position of the first byte in the buffer
  std::uint32_t bufferBytes_ = 0;  // valid bytes in the buffer
  bool open_ = false;
  bool writeFailed_ = false;
  bool dirty_ = false;  // the buffer holds bytes that are not yet in the file
  std::int64_t position_ = 0;
  std::int64_t size_ = -1;  // logical size, -1 while the system has to be asked
  std::uint32_t mode_ = 0;
  std::uint32_t encoding_ = 1;
  std::unique_ptr<CompressedBlocks> blocks_;  // set for a CFIL file
  Opened origin_;
  PString subst_;     // what it was opened through, null for the operating system
  std::string path_;  // below it
};

}  // namespace Zef
