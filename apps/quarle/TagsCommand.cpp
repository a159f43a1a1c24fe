// quarle tags show, quarle tags convert: tag files of either form.

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/StreamFiles.h"
#include "apps/quarle/TagChanges.h"
#include "apps/quarle/TagJson.h"
#include "apps/quarle/TagShown.h"
#include "apps/quarle/Utf8.h"
#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"
#include "tagdata/TagFiles.h"
#include "tagdata/TagTextReader.h"
#include "tagdata/TagTextWriter.h"

namespace {

using Zef::Platform::OwnedFile;

/// Changes that are listed for a reader; JSON has them all.
constexpr std::size_t kListed = 20;

int FailForm(const std::string& path) {
  return Fail(Quoted(path) + " is no tag file by its name; use .txt, .grole, .kpx or .kpx2");
}

/// A file with the right header and no records, which loads like a damaged one.
bool IsEmptyBinary(const std::string& path) {
  std::array<std::uint32_t, NOLBinaryFile::kHeaderSize / 4> header{};
  const OwnedFile file = Zef::Platform::OpenFile(path, {});
  if (!file) return false;
  const std::int64_t size = Zef::Platform::ReadAt(file.Get(), header.data(), sizeof header, 0);
  return size == sizeof header && header[0] == NOLBinaryFile::kMagic && header[3] == 0;
}

std::string LoadFailure(const std::string& path) {
  if (!Zef::Platform::Exists(path)) return "there is no such file; check its name";
  if (Zef::Platform::IsFolder(path)) return "it is a folder; name a file";
  return "it cannot be read; see who may read it and who has it open";
}

/// False, with the failure's line printed, for a file that is not whole.
bool LoadTags(const std::string& path, const CommonOptions& common, TagContainer& tags,
              TagTextLosses* losses = nullptr) {
  const TagForm form = TagFormOf(path);
  if (form == TagForm::None) {
    static_cast<void>(FailForm(path));
    return false;
  }
  const std::string exact = ExactPath(path);
  bool loaded = false;
  {
    const Progress progress(common, "loading " + Quoted(path));
    loaded = LoadTagFile(tags, {}, exact, {}, losses);
  }
  std::string why;
  if (!loaded) {
    why = LoadFailure(exact);
  } else if (form == TagForm::Binary && tags.IsNull() && !IsEmptyBinary(exact)) {
    why = "it is damaged or no binary tag file; restore a copy";
  }
  if (why.empty()) return true;
  static_cast<void>(Fail("cannot load the tag file " + Quoted(path) + ": " + why));
  return false;
}

/// A container that is being drawn, and how many of its tags are still to come.
struct OpenContainer {
  std::unique_ptr<TagCursor> tags;
  std::uint32_t left;
};

std::string TagLine(std::string_view key, const HCSChunk& chunk, bool isFirst) {
  std::string line = Printable(key);
  std::string note = TagTypeName(chunk.GetType());
  if (chunk.GetType() == TagSoup) {
    note = isFirst ? Counted(chunk.GetCount(), "tag") : "container, repeated";
  } else if (!isFirst) {
    note += ", repeated";
  } else if (const std::string value = TagValueText(chunk); !value.empty()) {
    line += " = " + value;
  }
  if (chunk.GetType() == TagBinary) note += ", " + Counted(chunk.GetDataSize(), "byte");
  return line + " " + Emphasised(Emphasis::Faint, "(" + note + ")") + "\n";
}

void Draw(const TagContainer& root) {
  std::vector<OpenContainer> open;
  std::string margin;
  const auto enter = [&](const HCSChunk& chunk) {
    open.push_back({chunk.Tags(), chunk.GetCount()});
  };
  if (root.IsValid()) enter(*root.Chunk());
  std::string_view key;
  ChunkRef chunk;
  while (!open.empty()) {
    OpenContainer& top = open.back();
    if (top.tags == nullptr || !top.tags->Next(key, chunk)) {
      open.pop_back();
      // The margin's pieces differ in bytes, but each ends in three spaces.
      if (!open.empty()) margin.resize(margin.size() - (open.back().left > 0 ? 6 : 4));
      continue;
    }
    const bool isLast = --top.left == 0;
    const bool isFirst = top.tags->IsFirst();
    Print(margin + (isLast ? "└── " : "├── ") + TagLine(key, *chunk, isFirst));
    if (chunk->GetType() != TagSoup || !isFirst || open.size() > kMaxTagDepth) continue;
    margin += isLast ? "    " : "│   ";
    enter(*chunk);
  }
}

constexpr const char* kTreeRefused =
    "the tree repeats its keys too often or is too large; remove the repeats";

/// Puts the tree in the place of the file; a new one has the permissions of the file `model`.
/// Prints why it cannot.
int SaveTags(const std::string& path, const TagContainer& tags, const std::string& model) {
  std::string text;
  Zef::ByteWriter records;
  const bool isText = TagFormOf(path) == TagForm::Text;
  if (!(isText ? AppendTagText(text, tags) : AppendBinaryTags(records, tags))) {
    return Fail("cannot write the tag file " + Quoted(path) + ": " + kTreeRefused);
  }
  const auto bytes = isText ? std::as_bytes(std::span(text)) : records.View();
  OutputFile out(path, Zef::Platform::OpenFile(model, {}).Get());
  const bool done = out.IsOpen() && out.Write(bytes.data(), bytes.size()) && out.Commit();
  return done ? kDone : out.Fail();
}

/// Each kind of loss in the words of a reader, and by its name in JSON.
struct Loss {
  std::uint64_t TagTextLosses::*count;
  const char* noun;
  const char* told;
  const char* name;
};
constexpr Loss kLosses[] = {
    {&TagTextLosses::bytesLeft, "byte",
     "behind a closing brace or a zero byte that ends the text too early", "bytesLeft"},
    {&TagTextLosses::replaced, "tag", "replaced by a later tag of the same key", "replaced"},
    {&TagTextLosses::cut, "token", "not read to the end", "cut"},
    {&TagTextLosses::tooDeep, "block", "nested too deep", "tooDeep"},
};

void TellLosses(const std::string& input, const TagTextLosses& losses) {
  std::string list;
  for (const Loss& loss : kLosses) {
    const std::uint64_t count = losses.*loss.count;
    if (count == 0) continue;
    list.append("\n  ").append(Counted(count, loss.noun)).append(" ").append(loss.told);
  }
  if (losses.Any()) Warn("not everything in " + Quoted(input) + " is read:" + list);
}

void TellChanges(const std::string& output, const TagContainer& before, const TagContainer& after) {
  std::string list;
  std::size_t listed = 0;
  const std::size_t count =
      FindTagChanges(before, after, [&](std::string_view path, std::string_view change) {
        if (listed++ < kListed) list.append("\n  ").append(path).append(": ").append(change);
      });
  if (count == 0) return;
  if (count > kListed) {
    list += "\n  and " + std::to_string(count - kListed) + " more (all with --json)";
  }
  Warn(Counted(count, "tag") + " will not read back from " + Quoted(output) + " as before:" + list);
}

void WriteChanges(const TagsOptions& options, const TagTextLosses& losses,
                  const TagContainer& before, const TagContainer& after) {
  JsonWriter json;
  json.BeginObject();
  json.Text("input", options.file);
  json.Text("output", options.output);
  json.BeginObject("unread");
  for (const Loss& loss : kLosses) json.Unsigned(loss.name, losses.*loss.count);
  json.EndObject();
  json.BeginArray("changes");
  FindTagChanges(before, after, [&](std::string_view path, std::string_view change) {
    json.NewLine();
    json.BeginObject();
    json.Text("tag", path);
    json.Text("change", change);
    json.EndObject();
  });
  json.EndArray();
  json.EndObject();
}

}  // namespace

int RunTagsShow(const TagsOptions& options, const CommonOptions& common) {
  TagContainer tags;
  TagTextLosses losses;
  if (!LoadTags(options.file, common, tags, &losses)) return kFailed;
  TellLosses(options.file, losses);
  if (common.json) {
    JsonWriter json;
    WriteTags(json, {}, tags);
    return kDone;
  }
  const std::string count = " (" + Counted(tags.GetCount(), "tag") + ")";
  Print(Emphasised(Emphasis::Heading, Printable(options.file)) + count + "\n");
  Draw(tags);
  return kDone;
}

int RunTagsConvert(const TagsOptions& options, const CommonOptions& common) {
  TagContainer before;
  TagTextLosses losses;
  if (TagFormOf(options.output) == TagForm::None) return FailForm(options.output);
  if (!LoadTags(options.file, common, before, &losses)) return kFailed;
  if (losses.Any() && Zef::Platform::IsSameFile(options.file, options.output)) {
    TellLosses(options.file, losses);
    return Fail("what is not read of " + Quoted(options.file) +
                " would be lost; name another file for the output");
  }
  if (const int failed = SaveTags(options.output, before, options.file); failed != kDone) {
    return failed;
  }
  TagContainer after;
  if (!LoadTags(options.output, common, after)) return kFailed;
  if (common.json) {
    WriteChanges(options, losses, before, after);
    return kDone;
  }
  TellLosses(options.file, losses);
  TellChanges(options.output, before, after);
  if (!common.quiet) {
    Print(Quoted(options.file) + " is written as " + Quoted(options.output) + ": " +
          Counted(after.GetCount(), "tag") + "\n");
  }
  return kDone;
}
