// StreamFiles: files that a command reads or makes from front to end.
//
// Paths are of the operating system and taken exactly. What is made stands under a temporary name
// beside its own until it is whole; so a command that fails or is stopped leaves what was there.
// It has the permissions of the file that it replaces.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "apps/quarle/Output.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/NewFile.h"

class InputFile {
 public:
  explicit InputFile(std::string path);

  bool IsOpen() const { return static_cast<bool>(file_); }
  /// Bytes when it was opened.
  std::uint64_t Size() const { return size_; }
  std::uint64_t Position() const { return position_; }
  /// The next piece, valid until the next call; empty at the end and after a failure.
  std::span<const std::byte> Next();
  bool Failed() const { return failed_; }
  Zef::Platform::FileHandle Handle() const { return file_.Get(); }
  /// Prints why it cannot be opened or read.
  [[nodiscard]] int Fail() const;

 private:
  const std::string path_;
  Zef::Platform::OwnedFile file_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  bool failed_ = false;
  std::vector<std::byte> piece_;
};

class OutputFile {
 public:
  /// `model` gives the permissions of a file where none stands. A link is followed; what is
  /// read-only or no file is not replaced.
  explicit OutputFile(const std::string& path,
                      Zef::Platform::FileHandle model = Zef::Platform::kNoFile);

  bool IsOpen() const { return file_ && file_->IsPending(); }
  Zef::NewFile& File() { return *file_; }
  std::uint64_t Written() const { return file_->Size(); }
  [[nodiscard]] bool Write(const void* bytes, std::size_t size) {
    return file_->Append(bytes, size);
  }
  /// Puts the file in its place. What it takes the place of is gone only when the new one is on
  /// the device; with `flush` the new one is there in any case.
  [[nodiscard]] bool Commit(bool flush = false);
  /// Prints that it cannot be made.
  [[nodiscard]] int Fail() const;

 private:
  const std::string path_;
  const char* reason_;  // why it cannot be made, as far as that is known
  bool replaces_ = false;
  std::optional<Zef::NewFile> file_;
};

/// What came of packing or unpacking a file: a line, or a JSON document.
struct PackReport {
  std::string input;
  std::string output;
  std::uint64_t inputBytes;
  std::uint64_t outputBytes;
  bool packed;  ///< or else unpacked
};
void PrintReport(const PackReport& report, const CommonOptions& common);
