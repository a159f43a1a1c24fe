#include "database/AssetCopy.h"

#include <utility>
#include <vector>

#include "database/AssetFolder.h"
#include "database/AssetWalk.h"
#include "kernel/platform/FolderCopy.h"
#include "kernel/platform/FolderWriter.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

namespace {

using Zef::Platform::FileHandle;
using Zef::Platform::FolderWriter;
using Zef::Platform::OwnedFile;

constexpr std::size_t kBuffer = std::size_t{1} << 18;

enum class Copied { Whole, Unreadable, Unwritten };

/// Asked of a copy that failed: it does not tell which of the two files it was for.
bool IsReadable(FileHandle file, std::vector<char>& buffer) {
  buffer.resize(kBuffer);
  std::int64_t got = 1;
  for (std::uint64_t done = 0; got > 0; done += static_cast<std::uint64_t>(got)) {
    got = Zef::Platform::ReadAt(file, buffer.data(), buffer.size(), done);
    if (got < 0) return false;
  }
  return true;
}

Copied CopyPlain(const WalkedFile& from, FileHandle to, std::vector<char>& buffer) {
  const OwnedFile source = from.folder->OpenFile(from.name.c_str());
  if (!source) return Copied::Unreadable;
  if (!Zef::Platform::CopyContents(source.Get(), to)) {
    return IsReadable(source.Get(), buffer) ? Copied::Unwritten : Copied::Unreadable;
  }
  Zef::Platform::CopyWriteTime(source.Get(), to);
  return Copied::Whole;
}

Copied Unpack(const AssetPlace& from, FileHandle to, std::vector<char>& buffer) try {
  Zef::File source;
  if (source.Open(from.subst, from.path.c_str(), Zef::FileMode::kRead) != Zef::RES_OK) {
    return Copied::Unreadable;
  }
  const std::int64_t size = source.Size();
  buffer.resize(kBuffer);
  std::uint64_t done = 0;
  while (const std::size_t got = source.Read(buffer.data(), 1, buffer.size())) {
    const std::int64_t written = Zef::Platform::WriteAt(to, buffer.data(), got, done);
    if (written != static_cast<std::int64_t>(got)) return Copied::Unwritten;
    done += got;
  }
  if (size < 0 || done != static_cast<std::uint64_t>(size)) return Copied::Unreadable;
  std::uint32_t time = 0;
  if (Zef::File::GetTime(from.subst, from.path.c_str(), &time)) {
    Zef::Platform::SetWriteTime(to, time);
  }
  return Copied::Whole;
} catch (const Zef::Exception&) {
  return Copied::Unreadable;
}

std::string Unreadable(const AssetPlace& place) {
  return '\'' + PlaceText(place) + "' cannot be read, or is nothing that an asset may have";
}

}  // namespace

std::string CopyAssetFolder(const AssetPlace& source, const std::string& target) {
  std::vector<FolderWriter> writers;
  writers.emplace_back(target);
  std::vector<char> buffer;
  bool isWhole = writers.back().IsOpen() && !source.IsNowhere();
  AssetWalkVisitor visitor;
  visitor.enterFolder = [&](const std::string& name) {
    writers.push_back(writers.back().MakeFolder(name.c_str()));
    isWhole = isWhole && writers.back().IsOpen();
  };
  visitor.leaveFolder = [&] { writers.pop_back(); };
  AssetPlace unread;
  visitor.file = [&](const WalkedFile& file) {
    if (!isWhole) return false;
    OwnedFile to = writers.back().CreateFile(file.name.c_str());
    Copied copied = Copied::Unwritten;
    if (to) {
      copied = file.folder != nullptr ? CopyPlain(file, to.Get(), buffer)
                                      : Unpack(file.place, to.Get(), buffer);
    }
    if (copied == Copied::Unreadable) unread = file.place;
    isWhole = to.Close() && copied == Copied::Whole;
    return isWhole;
  };
  if (!isWhole) return kNotWritten;
  const AssetWalkFault fault = WalkAssetFolder(source, "$muk_package_folder_err", visitor);
  if (!unread.IsNowhere()) return Unreadable(unread);
  if (fault.key != nullptr) return Unreadable(fault.place);
  return isWhole ? "" : kNotWritten;
}
