#include "kernel/standard/TextFile.h"

#include <cstring>

#include "kernel/standard/CodePage.h"
#include "kernel/standard/File.h"

namespace Zef {

namespace {

constexpr std::string_view kWideMark = "\xFF\xFE";

}  // namespace

// The size is not asked for: a device has none, and finding that of a compressed file may cost a
// walk over it.
bool ReadTextFile(File& file, std::uint64_t limit, std::string& text) {
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  text.clear();
  for (std::size_t got = kPiece; got == kPiece;) {
    const std::size_t length = text.size();
    text.resize(length + kPiece);
    got = file.Read(text.data() + length, 1, kPiece);
    text.resize(length + got);
    if (text.size() > limit) return false;
  }
  if (IsMarkedWide(text)) text = NarrowMarked(text);
  return true;
}

bool IsMarkedWide(std::string_view bytes) { return bytes.starts_with(kWideMark); }

std::string NarrowMarked(std::string_view bytes) {
  bytes.remove_prefix(kWideMark.size());
  std::u16string units(bytes.size() / 2, u'\0');
  if (!units.empty()) std::memcpy(units.data(), bytes.data(), units.size() * 2);
  return Narrow(units);
}

}  // namespace Zef
