#include "apps/quarle/StreamFiles.h"

#include <utility>

#include "apps/quarle/JsonWriter.h"

using namespace Zef::Platform;

namespace {

constexpr std::size_t kPiece = 1u << 20;

}  // namespace

InputFile::InputFile(std::string path)
    : path_(std::move(path)), file_(OpenFile(path_, {.sharing = Sharing::DenyWrite})) {
  if (IsOpen() && !IsRegularFile(file_.Get())) file_.Close();  // a device, which may have no end
  if (!IsOpen()) return;
  const std::int64_t size = FileSize(file_.Get());
  if (size > 0) size_ = static_cast<std::uint64_t>(size);
}

std::span<const std::byte> InputFile::Next() {
  piece_.resize(kPiece);
  const std::int64_t size = ReadAt(file_.Get(), piece_.data(), piece_.size(), position_);
  failed_ = size < 0;
  if (failed_) return {};
  position_ += static_cast<std::uint64_t>(size);
  return {piece_.data(), static_cast<std::size_t>(size)};
}

int InputFile::Fail() const {
  const std::string what = "cannot read " + Quoted(path_) + ": ";
  if (IsFolder(path_)) return ::Fail(what + "it is a folder; name a file");
  if (!Exists(path_)) return ::Fail(what + "there is no such file; check its name");
  if (FileInfo info; GetInfo(path_, &info) && !info.regular) {
    return ::Fail(what + "it is no file; write to one what comes from a pipe or a device");
  }
  return ::Fail(what + "check that it may be read and that nothing writes to it");
}

OutputFile::OutputFile(const std::string& path, FileHandle model)
    : path_(path),
      reason_("check that it is a file in a folder which may be written and has room") {
  FileInfo info;
  replaces_ = GetInfo(path, &info);
  if (replaces_ && info.folder) {
    reason_ = "it is a folder; name a file";
  } else if (replaces_ && info.readOnly) {
    reason_ = "it is read-only; make it writable or name another file";
  } else if (!replaces_ && GetInfoNoFollow(path, &info)) {
    reason_ = "it is a link to nothing; delete it or name another file";
  } else if (!replaces_ || info.regular) {
    file_.emplace(replaces_ ? CanonicalPath(path) : path);
  }
  if (!IsOpen()) return;
  const OwnedFile old = replaces_ ? OpenFile(path, {}) : OwnedFile();
  if (old) model = old.Get();
  if (model != kNoFile) CopyPermissions(model, file_->Handle());
}

bool OutputFile::Commit(bool flush) {
  return (!(flush || replaces_) || file_->Flush()) && file_->Keep();
}

int OutputFile::Fail() const { return ::Fail("cannot write " + Quoted(path_) + ": " + reason_); }

void PrintReport(const PackReport& report, const CommonOptions& common) {
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("input", report.input);
    json.Text("output", report.output);
    json.Unsigned("inputBytes", report.inputBytes);
    json.Unsigned("outputBytes", report.outputBytes);
    json.EndObject();
  } else if (!common.quiet) {
    Print(Quoted(report.input) + (report.packed ? " is packed as " : " is unpacked as ") +
          Quoted(report.output) + ": " + ByteSize(report.inputBytes) + " to " +
          ByteSize(report.outputBytes) + "\n");
  }
}
