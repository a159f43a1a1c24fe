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
