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

}  // namespace

int RunFilePack(const CoderOptions& options, const CommonOptions& common) {
  InputFile in(options.input);
  if (!in.IsOpen()) return in.Fail();
  const std::string what = "cannot pack " + Quoted(options.input) + ": ";
  if (IsPacked(in.Next())) return Fail(what + "it is packed already; unpack it first");
  if (in.Size() > static_cast<std::uint64_t>(Zef::CompressedFormat::kLargestFile)) {
    return Fail(what + "it has more than the 2 GiB of this form; use 'quarle lzss pack'");
  }
  OutputFile out(options.output, in.Handle());
  if (!out.IsOpen()) return out.Fail();
  try {
    const Progress progress(common, "packing " + Quoted(options.input));
    if (!Zef::CompressInto(out.File(), in.Handle())) return in.Fail();
  } catch (const Zef::FileEx&) {
    return out.Fail();
  }
  if (!out.Commit()) return out.Fail();
  PrintReport({options.input, options.output, in.Size(), out.Written(), true}, common);
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
  const Zef::Platform::FileHandle source = in.Origin().handle;
  const auto inputBytes = static_cast<std::uint64_t>(Zef::Platform::FileSize(source));
  OutputFile out(options.output, source);
  if (!out.IsOpen()) return out.Fail();
  try {
    Progress progress(common, "unpacking " + Quoted(options.input),
                      static_cast<std::uint64_t>(in.Size()));
    if (!WriteUnpacked(in, out, progress)) return out.Fail();
    // Reading ends where the header says; a smaller size there would pass for a whole file.
    Zef::CompressedBlocks blocks(source, Zef::CompressedFormat::kHeaderSize, inputBytes, -1);
    if (static_cast<std::uint64_t>(blocks.Size()) != out.Written()) {
      return FailUnpack(options.input, kDamaged);
    }
  } catch (const Zef::FileEx&) {
    return FailUnpack(options.input, kDamaged);
  }
  if (!out.Commit()) return out.Fail();
  PrintReport({options.input, options.output, inputBytes, out.Written(), false}, common);
  return kDone;
}
