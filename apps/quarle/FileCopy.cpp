#include "apps/quarle/FileCopy.h"

#include "apps/quarle/StreamFiles.h"

bool CopyFileWhole(const std::string& from, const std::string& to) {
  InputFile in(from);
  OutputFile out(to, in.Handle());
  if (!in.IsOpen() || !out.IsOpen()) return false;
  for (auto piece = in.Next(); !piece.empty(); piece = in.Next()) {
    if (!out.Write(piece.data(), piece.size())) return false;
  }
  return !in.Failed() && out.Commit(/*flush=*/true);
}

std::string Obstacle(const std::string& path) {
  namespace Platform = Zef::Platform;
  if (Platform::IsGone(path)) return {};
  Platform::FileInfo info;
  if (!Platform::GetInfo(path, &info)) {
    return Platform::GetInfoNoFollow(path, &info)
               ? "it is a link to nothing; delete it"
               : "it may not be looked at; check the permissions of its folder";
  }
  if (!info.regular) return "it is no file; move it away";
  return info.readOnly ? "it is read-only; make it writable" : "";
}
