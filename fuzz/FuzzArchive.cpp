// Fuzzes archives: any bytes are mounted, listed, searched, read and looked up by name; then they
// are changed, and what was written must be there while they are mounted and when they are again.

#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/ScratchFile.h"
#include "kernel/standard/ArchiveTable.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/Subst.h"

namespace {

const Zef::PString& Mount() {
  static const Zef::PString mount("fuzz");
  return mount;
}

std::string Read(const char* name, std::uint32_t mode) {
  Zef::File file;
  if (file.Open(Mount(), name, mode) != Zef::RES_OK) return {};
  return ReadFromStart(file);
}

void SearchFolder(const std::string& folder) {
  Zef::File::Find find;
  if (!find.Open(Mount(), (folder + "*").c_str())) return;
  for (std::string last; find.Next(); last = find.Entry().name) {
    const std::string name = find.Entry().name;
    if (name.empty() || name == last || name.find('/') != std::string::npos) std::abort();
  }
}

std::vector<std::string> Names(const std::string& path) {
  Zef::FileSubArchive archive(path.c_str(), true);
  std::vector<std::string> names;
  Zef::ArchiveRow row;
  for (std::size_t cursor = 0; archive.NextFile(&cursor, &row);) names.emplace_back(row.entry.name);
  if (names.size() != archive.FileCount()) std::abort();
  return names;
}

void ReadAll(const std::vector<std::string>& names) {
  SearchFolder("");
  for (const std::string& name : names) {
    Read(name.c_str(), Zef::FileMode::kRead);
    Read(name.c_str(), Zef::FileMode::kReadRaw);
    const std::size_t separator = name.find_last_of("/\\");
    if (separator != std::string::npos) SearchFolder(name.substr(0, separator + 1));
  }
}

bool Write(const char* name, std::uint32_t mode, const std::string& content) {
  Zef::File file;
  if (file.Open(Mount(), name, mode) != Zef::RES_OK) return false;
  try {
    file.Write(content.data(), 1, content.size());
    file.Close();
  } catch (const Zef::FileEx&) {
    return false;
  }
  return true;
}

/// Puts two files in, takes one of the others out, renames another one.
void Change(const std::string& path, const std::vector<std::string>& names) {
  const std::string content = "content of the new file";
  if (!Zef::Subst(Mount(), path.c_str(), true)) std::abort();
  const auto isPacked = [](const std::string& name) {
    return Zef::ArchiveTable::KeyOf(name) == "fuzz-packed";
  };
  const bool packed = Write("fuzz-packed", 0x102, content);
  if (!names.empty() && !isPacked(names.front()) && !isPacked(names.back())) {
    static_cast<void>(Zef::File::Delete(Mount(), names.front().c_str()));
    static_cast<void>(Zef::File::Rename(Mount(), names.back().c_str(), "fuzz-renamed"));
    Write(names.back().c_str(), 0x201, content);
  }
  const bool plain = Write("fuzz-plain", 0x101, content);
  for (const bool again : {false, true}) {
    if (again) {
      Zef::Subst(Mount(), nullptr, false);
      if (!Zef::Subst(Mount(), path.c_str(), false)) std::abort();
    }
    if (packed && Read("fuzz-packed", 0x30) != content) std::abort();
    if (plain && Read("FUZZ-plain", 0x20) != content) std::abort();
  }
  Zef::Subst(Mount(), nullptr, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ScratchFile scratch("archive", data, size);
  const std::string& path = scratch.Path();
  const std::vector<std::string> names = Names(path);
  if (!Zef::Subst(Mount(), path.c_str(), false)) std::abort();
  ReadAll(names);
  Zef::Subst(Mount(), nullptr, false);
  Change(path, names);
  return 0;
}
