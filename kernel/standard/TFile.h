// TFile: a TStream over a File, which it owns or borrows.

#pragma once

#include "kernel/standard/TStream.h"

namespace Zef {

class File;

class TFile : public TStream {
 public:
  /// Null is allowed: every operation is then harmless. `owned` hands the File over.
  TFile(File* file, bool owned);
  /// Closes; swallows what Close would raise.
  ~TFile() override;

  /// Closes and deletes an owned File, or seeks a borrowed one back to where the reader stopped.
  /// May raise FileEx.
  void Close();

  void Clear() override;
  std::uint64_t Tell() override;
  bool IsOpen() override;
  std::uint64_t Size() override;
  std::uint32_t Write(const void* from, std::uint32_t size) override;
  std::uint32_t Read(void* to, std::uint32_t size) override;
  void Seek(std::int64_t offset, std::int32_t whence) override;
  bool Eof() override;

 private:
  File* file_;
  bool owned_;
};

}  // namespace Zef
