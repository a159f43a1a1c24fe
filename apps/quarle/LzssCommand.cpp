// quarle lzss pack, quarle lzss unpack: single streams of the LZSS coder.

#include "apps/quarle/Commands.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/StreamFiles.h"
#include "kernel/standard/LZSSCompress.h"

namespace {

using Zef::LZSSCompress;
using Zef::LzssFinding;

/// Writes to a file that outlives the coder's work.
class FileSink : public Zef::ByteSink {
 public:
  explicit FileSink(OutputFile& file) : file_(file) {}
  bool Write(const void* bytes, std::uint32_t size) override {
    failed_ = failed_ || !file_.Write(bytes, size);
    return !failed_;
  }
  bool Failed() const { return failed_; }

 private:
  OutputFile& file_;
  bool failed_ = false;
};

using CoderStep = bool (LZSSCompress::*)(const void*, std::size_t);

/// False when reading fails or the coder stops.
bool Feed(InputFile& in, LZSSCompress& coder, CoderStep step, Progress& progress) {
  for (auto piece = in.Next(); !piece.empty(); piece = in.Next()) {
    if (!(coder.*step)(piece.data(), piece.size())) return false;
    progress.Advance(in.Position());
  }
  return !in.Failed();
}

int FailDamaged(const std::string& file, LzssFinding finding) {
  const std::string what = "cannot unpack " + Quoted(file) + ": ";
  switch (finding) {
    case LzssFinding::NoStream:
      return Fail(what + "it is no LZSS stream; name a file that 'quarle lzss pack' wrote");
    case LzssFinding::CutShort:
      return Fail(what + "it is damaged or cut short; copy it again");
    case LzssFinding::BeforeStart:
      return Fail(what + "it is damaged and points before its beginning; copy it again");
    default:
      return Fail(what + "it is damaged and goes on behind its end; copy it again");
  }
}

int Finish(OutputFile& out, const CoderOptions& options, const InputFile& in, bool packed,
           const CommonOptions& common) {
  if (!out.Commit()) return out.Fail();
  PrintReport({options.input, options.output, in.Position(), out.Written(), packed}, common);
  return kDone;
}

}  // namespace

int RunLzssPack(const CoderOptions& options, const CommonOptions& common) {
  InputFile in(options.input);
  if (!in.IsOpen()) return in.Fail();
  OutputFile out(options.output, in.Handle());
  if (!out.IsOpen()) return out.Fail();
  const Zef::Ref<FileSink> sink(new FileSink(out));
  LZSSCompress coder;
  bool done = coder.BeginCompress(sink, options.level);
  {
    Progress progress(common, "packing " + Quoted(options.input), in.Size());
    done = done && Feed(in, coder, &LZSSCompress::Compress, progress) && coder.EndCompress();
  }
  if (in.Failed()) return in.Fail();
  if (!done) return out.Fail();
  return Finish(out, options, in, /*packed=*/true, common);
}

int RunLzssUnpack(const CoderOptions& options, const CommonOptions& common) {
  InputFile in(options.input);
  if (!in.IsOpen()) return in.Fail();
  OutputFile out(options.output, in.Handle());
  if (!out.IsOpen()) return out.Fail();
  const Zef::Ref<FileSink> sink(new FileSink(out));
  LZSSCompress coder;
  bool done = coder.BeginDecompress(sink);
  {
    Progress progress(common, "unpacking " + Quoted(options.input), in.Size());
    done = done && Feed(in, coder, &LZSSCompress::Decompress, progress) && coder.EndDecompress();
  }
  if (in.Failed()) return in.Fail();
  if (sink->Failed()) return out.Fail();
  if (!done || coder.Finding() != LzssFinding::Whole) {
    return FailDamaged(options.input, coder.Finding());
  }
  return Finish(out, options, in, /*packed=*/false, common);
}
