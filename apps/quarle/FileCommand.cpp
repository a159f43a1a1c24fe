// quarle file pack, quarle file unpack: between a plain file and its CFIL form.

#include <cstring>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/StreamFiles.h"
#include "kernel/standard/CompressedBlocks.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

namespace {

using Zef::File;

constexpr std::size_t kPiece = 1u << 20;
constexpr std::string_view kMagic = "CFIL";

bool IsPacked(std::span<const std::byte> start) {
  return start.size() >= kMagic.size() && std::memcmp(start.data(), kMagic.data(), 4) == 0;
}

/// Copies the plain bytes; the file packs them when it is closed. Raises FileEx.
bool WritePacked(InputFile& in, std::span<const std::byte> piece, const std::string& path) {
  File file;
  const auto mode = Zef::FileMode::kWriteCompressed | Zef::FileMode::kCreate;
  if (file.Open(ExactPath(path).c_str(), mode) != Zef::RES_OK) return false;
  for (; !piece.empty(); piece = in.Next()) file.Write(piece.data(), 1, piece.size());
  file.Close();
  return true;
}

/// False when the output fails. Raises FileEx for content that does not come out.
bool WriteUnpacked(File& in, OutputFile& out, Progress& progress) {
  std::vector<std::byte> piece(kPiece);
  while (const std::size_t size = in.Read(piece.data(), 1, piece.size())) {
    if (!out.Write(piece.data(), size)) return false;
    progress.Advance(out.Written());
  }
  return true;
}

int FailUnpack(const std::string& file, const char* why) {
  return Fail("cannot unpack " + Quoted(file) + ": " + why);
}

std::uint64_t SizeOf(const std::string& path) {
  Zef::Platform::FileInfo info;
  return Zef::Platform::GetInfo(path, &info) ? info.size : 0;
}

}  // namespace

int RunFilePack(const CoderOptions& options, const CommonOptions& common) {
  InputFile in(options.input);
  if (!in.IsOpen()) return in.Fail();
  const auto start = in.Next();
  const std::string what = "cannot pack " + Quoted(options.input) + ": ";
  if (IsPacked(start)) return Fail(what + "it is packed already; unpack it first");
  if (in.Size() > static_cast<std::uint64_t>(Zef::CompressedFormat::kLargestFile)) {
    return Fail(what + "it has more than the 2 GiB of this form; use 'quarle lzss pack'");
  }
  OutputFile out(options.output);
  if (!out.IsOpen() || !out.Close()) return out.Fail();
  try {
    const Progress progress(common, "packing " + Quoted(options.input));
    if (!WritePacked(in, start, out.Temporary())) return out.Fail();
  } catch (const Zef::FileEx&) {
    return out.Fail();
  }
  if (in.Failed()) return in.Fail();
  if (!out.Commit()) return out.Fail();
  PrintReport({options.input, options.output, in.Position(), SizeOf(options.output), true}, common);
  return kDone;
}

int RunFileUnpack(const CoderOptions& options, const CommonOptions& common) {
  constexpr const char* kDamaged = "it is damaged or cut short; copy it again";
  File in;
  const auto status = in.Open(ExactPath(options.input).c_str(), Zef::FileMode::kReadCompressed);
  if (status == Zef::RES_FILENOTFOUND) return InputFile(options.input).Fail();
  if (status == Zef::RES_UNKNOWN) return FailUnpack(options.input, kDamaged);
  // A file too short for the header opens as a plain one.
  if (status != Zef::RES_OK ||
      (in.Mode() & Zef::FileMode::kReadMask) != Zef::FileMode::kReadCompressed) {
    return FailUnpack(options.input, "it is not packed; there is nothing to do");
  }
  OutputFile out(options.output);
  if (!out.IsOpen()) return out.Fail();
  try {
    Progress progress(common, "unpacking " + Quoted(options.input),
                      static_cast<std::uint64_t>(in.Size()));
    if (!WriteUnpacked(in, out, progress)) return out.Fail();
  } catch (const Zef::FileEx&) {
    return FailUnpack(options.input, kDamaged);
  }
  if (!out.Commit()) return out.Fail();
  PrintReport({options.input, options.output, SizeOf(options.input), out.Written(), false}, common);
  return kDone;
}
