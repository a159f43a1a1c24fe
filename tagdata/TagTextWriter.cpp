#include "tagdata/TagTextWriter.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "kernel/standard/CodePage.h"
#include "tagdata/Convert.h"
#include "tagdata/TagBudget.h"

namespace {

constexpr std::size_t kMaxKey = 1024;
constexpr std::size_t kMaxTextSize = 0x7FFFFFFF;
constexpr std::uint64_t kByteAllowance = 2u << 20;

/// Values stand in a column of their own, seven tabs of eight characters from the margin.
constexpr std::size_t kValueTab = 7;
constexpr std::size_t kTabWidth = 8;

/// Braces, line ends and the like of one line, besides key and value.
constexpr std::uint64_t kLineSize = 8;

std::uint64_t LineSize(std::string_view key, const HCSChunk& chunk, std::size_t depth) {
  const std::size_t indents = chunk.GetType() == TagSoup ? 2 * depth : depth;
  return kLineSize + indents + key.size() + chunk.GetDataSize();
}

char CleanKeyByte(char byte) {
  constexpr char kFirstVisible = '!';
  // Compared as signed, so that bytes above 127 go too.
  return static_cast<signed char>(byte) < kFirstVisible ? '_' : Zef::FoldAscii(byte);
}

bool IsText(std::int32_t type) { return type == TagString || type == TagStringAlt; }

void AppendValue(std::string& out, std::string_view text, bool isText) {
  const bool quoted = isText || text.find_first_of("\r\n \t") != std::string_view::npos;
  if (quoted) out.push_back('"');
  const std::size_t begin = out.size();
  out.append(text);
  std::replace(out.begin() + static_cast<std::ptrdiff_t>(begin), out.end(), '"', '\'');
  if (quoted) out.push_back('"');
}

/// Whether every value of a payload of this type has a text.
bool IsNumber(std::int32_t type) { return type == TagInt || type == TagFloat; }

/// Everything of a value's line that stands behind its key. False for numbers of which there are
/// too many for any text.
bool AppendValueOf(std::string& out, const HCSChunk& chunk, std::size_t column) {
  const bool isText = IsText(chunk.GetType());
  const CoreRef core =
      isText ? chunk.GetCore() : ConvertTagData(chunk.GetType(), chunk.GetCore(), TagString);
  const std::string_view text = core ? core->Text() : std::string_view();
  if (text.empty()) return !IsNumber(chunk.GetType()) || chunk.GetDataSize() < sizeof(float);
  if (column < kValueTab) out.append(kValueTab - column, '\t');
  AppendValue(out, text, isText);
  return true;
}

}  // namespace

std::string CleanTagKey(std::string_view key) {
  std::string clean(key.substr(0, kMaxKey));
  std::transform(clean.begin(), clean.end(), clean.begin(), CleanKeyByte);
  return clean;
}

bool AppendTagText(std::string& out, const TagContainer& root) {
  const std::size_t begin = out.size();
  out.append("\xEF\xBB\xBF\r\n");
  if (root.IsEmptyHandle()) return true;
  TagBudget budget(root.Chunk().Get(), kByteAllowance, LineSize);
  std::vector<std::unique_ptr<TagCursor>> open;
  open.push_back(root.Chunk()->Tags());
  std::string_view key;
  ChunkRef chunk;
  while (!open.empty()) {
    if (out.size() - begin > kMaxTextSize) return false;
    const std::size_t depth = open.size() - 1;
    if (open.back() == nullptr || !open.back()->Next(key, chunk)) {
      open.pop_back();
      if (depth != 0) out.append(depth - 1, '\t').append("}\r\n");
      continue;
    }
    if (!budget.Take(key, *chunk, depth)) return false;
    const std::string clean = CleanTagKey(key);
    out.append(depth, '\t').append(clean);
    if (chunk->GetType() != TagSoup) {
      if (!AppendValueOf(out, *chunk, clean.size() / kTabWidth + depth)) return false;
      out.append("\r\n");
      continue;
    }
    if (depth >= kMaxTagDepth) return false;
    out.append(" {\r\n");
    open.push_back(chunk->Tags());
  }
  return true;
}
