// ArchiveFixture: archives put together byte by byte, and one of them behind the name "arc".

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "kernel/ByteWriter.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileFind.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/Subst.h"
#include "tests/support/TestFiles.h"

namespace Test {

inline std::string Words(std::initializer_list<std::uint32_t> words) {
  Zef::ByteWriter out;
  for (const std::uint32_t word : words) out.U32(word);
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

inline std::string ArchiveHead(std::uint32_t version, std::uint32_t count, std::uint32_t index) {
  return "ARCHINFO" + Words({32}) + "0CRA" + Words({version, count, index, 0, 0, 0, 0});
}

struct Entry {
  std::string name;
  std::uint32_t size = 0;
  std::uint32_t stored = 0;
  std::uint32_t checksum = 0;
  std::uint32_t time = 0;
  std::uint32_t attributes = 0;

  std::string Bytes() const {
    std::string field = name;
    field.resize(260);
    return field + Words({size, stored, checksum, time, time, time, attributes});
  }
  /// In front of the data, which is given by its size alone.
  std::string ChunkHead() const { return "FIL " + Words({288 + stored}) + Bytes(); }
  std::string Row(std::uint32_t offset) const { return Words({offset, stored}) + Bytes(); }
};

inline Entry PlainEntry(const std::string& name, const std::string& data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  return {name, size, size};
}

inline std::string Chunk(const std::string& name, const std::string& data) {
  return PlainEntry(name, data).ChunkHead() + data;
}

class Archive : public ::testing::Test {
 protected:
  ~Archive() override { Unmount(); }

  void Lay(const std::string& bytes) const { WriteWholeFile(path_, bytes); }
  std::string Bytes() const { return ReadWholeFile(path_); }
  void Mount(bool writable = true) const {
    ASSERT_TRUE(Zef::Subst(name_, path_.c_str(), writable));
  }
  void Unmount() const { Zef::Subst(name_, nullptr, false); }
  void Remount(bool writable = true) const {
    Unmount();
    Mount(writable);
  }
  /// Takes the index away, so that the next mount walks.
  void ForgetIndex() const {
    std::string bytes = Bytes();
    bytes.replace(24, 4, Words({0}));
    Lay(bytes);
  }

  /// Content of a file, "(none)" without one, "(damaged)" when it cannot be read.
  std::string Read(const std::string& path, std::uint32_t mode = Zef::FileMode::kRead) const {
    Zef::File file;
    if (file.Open(name_, path.c_str(), mode) != Zef::RES_OK) return "(none)";
    try {
      std::string bytes(static_cast<std::size_t>(file.Size()), 0);
      bytes.resize(file.Read(bytes.data(), 1, bytes.size()));
      return bytes;
    } catch (const Zef::FileEx&) {
      return "(damaged)";
    }
  }
  bool Write(const std::string& path, const std::string& bytes,
             std::uint32_t mode = Zef::FileMode::kCreateWrite) const {
    Zef::File file;
    if (file.Open(name_, path.c_str(), mode) != Zef::RES_OK) return false;
    try {
      file.Write(bytes.data(), 1, bytes.size());
      file.Close();
      return true;
    } catch (const Zef::FileEx&) {
      return false;
    }
  }
  /// All names in the archive's order, each with a space behind it.
  std::string Names() const {
    Zef::FileSubArchive archive(path_.c_str(), true);
    std::string names;
    Zef::ArchiveRow row;
    for (std::size_t at = 0; archive.NextFile(&at, &row);)
      names += row.entry.name + std::string(" ");
    return names;
  }

  const TempFolder folder_{FastFolder()};
  const std::string path_ = folder_ / "content.arc";
  const Zef::PString name_{"arc"};
};

}  // namespace Test
