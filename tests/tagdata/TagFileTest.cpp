// The binary tag file byte for byte, and what becomes of files that lie.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kernel/standard/Exception.h"
#include "tests/tagdata/TagBytes.h"

using namespace std::string_literals;
using TagBytes::File;
using TagBytes::Load;
using TagBytes::Record;
using TagBytes::Save;
using TagBytes::Word;

namespace {

/// Containers within each other, `depth` of them.
std::string Nested(std::size_t depth) {
  std::string records;
  for (std::size_t i = 0; i < depth; ++i) records = Record("", 0, records);
  return records;
}

TagContainer SampleTree() {
  TagContainer inner;
  inner.SetInt("n", -2);
  inner.SetNull("nothing");
  TagContainer root;
  root.SetString("s", "hi");
  root.SetString("e", "");
  root.SetFloat("f", 1.5f);
  root.SetPLID("id", PLID(5, 6, 1));
  root.SetBinary("b", "\xFF\0", 2);
  root.SetSubContainer("sub", inner);
  root.SetInt(Zef::PString(), 3);
  return root;
}

}  // namespace

TEST(TagFile, WriterMakesTheBytesOfTheFormat) {
  const std::string inner = Record("n\0"s, 1, Word(0xFFFFFFFE)) + Record("nothing\0"s, 5, "");
  const std::string expected =
      Record("s\0"s, 3, "hi\0"s) + Record("e\0"s, 3, "") + Record("f\0"s, 2, "\0\0\xC0\x3F"s) +
      Record("id\0"s, 13, Word(6) + Word((1u << 25) | 5)) + Record("b\0"s, 4, "\xFF\0"s) +
      Record("sub\0"s, 0, inner) + Record("", 1, Word(3)) + Record("\0"s, 1, Word(4));
  TagContainer tree = SampleTree();
  tree.SetInt("", 4);  // not the same key as none, but a file's lookup finds either
  EXPECT_EQ(Save(tree), File(expected));
  EXPECT_EQ(Load(File(expected)).GetInt(""), 3);
  const TagContainer loaded = Load(Save(SampleTree()));
  EXPECT_EQ(loaded.GetSubContainer("sub").GetInt("n"), -2);
  EXPECT_EQ(loaded.GetPLID("id"), PLID(5, 6, 1));
  EXPECT_FALSE(loaded.HasChanges());
  EXPECT_EQ(File(Record("a\0"s, 3, "hi\0"s)),
            "HCS$\1\0\0\0\0\0\0\0\x0B\0\0\0\x07\0\0\0\x02"
            "a\0\x03hi\0"s);
  const std::string empty = "HCS$\1\0\0\0\0\0\0\0\0\0\0\0"s;
  EXPECT_EQ(Save(TagContainer()), empty);
  EXPECT_EQ(Save(TagContainer::DeepCopy({})), empty) << "an empty root cannot be told from none";
  EXPECT_TRUE(Load(empty).IsNull());
}

// Which codes mean what, including those that only foreign writers use.
TEST(TagFile, CodesReadAsTypes) {
  const std::pair<int, std::int32_t> cases[] = {
      {0, TagSoup}, {1, TagInt},  {2, TagFloat}, {3, TagString}, {4, TagBinary},
      {5, TagNull}, {6, TagNull}, {11, TagNull}, {13, TagPLID},  {14, TagNull}};
  for (const auto& [code, type] : cases) {
    const std::string payload = code == 0 ? "" : "12345678";
    const TagContainer root = Load(File(Record("k\0"s, code, payload)));
    EXPECT_EQ(root.GetTagType("k"), type) << code;
    EXPECT_EQ(root.GetTag("k")->GetDataSize(), type > TagSoup ? 8u : 0u) << code;
    EXPECT_EQ(root.HasTag("k"), type != TagNull) << code;
    EXPECT_STREQ(root.GetTagName(0).Text(), "k") << code;
  }
}

TEST(TagFile, AlignedPayloadsBeginAtTheNextMultipleOf16) {
  for (std::size_t keyLength = 0; keyLength < 20; ++keyLength) {
    const std::string key(keyLength, '\0');
    const std::size_t payloadAt = 6 + keyLength;
    const std::size_t padding = (16 - payloadAt % 16) % 16;
    for (const std::size_t size : {padding + 3, padding, padding / 2}) {
      const std::string payload = (std::string(padding, 'p') + "abc").substr(0, size);
      const ChunkRef tag = Load(File(Record(key, 12, payload))).GetTag("");
      EXPECT_EQ(tag->GetType(), TagBinary);
      EXPECT_EQ(tag->GetDataSize(), size > padding ? 3u : 0u) << keyLength;
      EXPECT_TRUE(size <= padding || std::memcmp(tag->GetData(), "abc", 3) == 0) << keyLength;
    }
  }
}

TEST(TagFile, TextsOfVersion0AreConvertedAndStay) {
  const std::string records = Record("a\0"s, 3, "caf\xE9\0zz"s) + Record("p\0"s, 3, "ab\0"s) +
                              Record("u\0"s, 3, "\x80"s) + Record("e\0"s, 3, "");
  TagContainer root = Load(File(records, 0));
  EXPECT_STREQ(root.GetString("a").Text(), "caf\xC3\xA9");
  EXPECT_EQ(root.GetTag("a")->GetDataSize(), 7u) << "the converted text, its zero and one more";
  EXPECT_EQ(root.GetTag("p")->GetDataSize(), 4u) << "plain ASCII too gets one more";
  EXPECT_STREQ(root.GetString("u").Text(), "\xE2\x82\xAC");
  EXPECT_EQ(root.GetTag("e")->GetDataSize(), 0u);
  EXPECT_STREQ(Load(File(records, 1)).GetString("a").Text(), "caf\xE9");

  std::vector<ChunkRef> repeats;
  const std::string text = Record("a\0"s, 3, "caf\xE9"s);
  Load(File(text + text + text + text, 0)).ForEach([&](std::string_view, const ChunkRef& chunk) {
    repeats.push_back(chunk);
  });
  ASSERT_EQ(repeats.size(), 4u);
  EXPECT_EQ(repeats[1], repeats[3]) << "converted anew for each repeat, a file takes hours";

  root.SetString("a", "new");
  EXPECT_STREQ(root.GetString("a").Text(), "caf\xC3\xA9") << "converted texts cannot be replaced";
  EXPECT_EQ(root.GetCount(), 5u);
}

TEST(TagFile, DuplicatesAreKeptButWrittenAsTheFirst) {
  const std::string a = Record("k\0"s, 1, Word(1)), b = Record("k\0"s, 1, Word(2));
  const TagContainer root = Load(File(a + Record("x\0"s, 5, "") + b));
  EXPECT_EQ(root.GetCount(), 3u);
  EXPECT_EQ(root.GetInt("k"), 1);
  const std::string expected = File(a + Record("x\0"s, 5, "") + a);
  EXPECT_EQ(Save(root), expected);
  EXPECT_EQ(Save(TagContainer::DeepCopy(root)), expected);

  std::string bomb = Record("id\0"s, 13, Word(6) + Word(5));
  for (int i = 0; i < 25; ++i) bomb = Record("a\0"s, 0, bomb) + Record("a\0"s, 5, "");
  EXPECT_EQ(Save(Load(File(bomb))), "refused") << "it doubles at each level";
  EXPECT_TRUE(TagContainer::DeepCopy(Load(File(bomb))).IsEmptyHandle());
  std::vector<PLID> ids;
  Load(File(bomb)).CollectPLIDs(ids);
  EXPECT_EQ(ids.size(), 1u);
}

TEST(TagFile, KeysThatDoNotFitARecordAreLeftOut) {
  TagContainer root;
  const std::string longest(254, 'k');
  root.SetInt(Zef::PString(longest), 1);
  root.SetInt(Zef::PString(longest + "k"), 2);
  root.SetInt("next", 3);
  const TagContainer loaded = Load(Save(root));
  EXPECT_EQ(loaded.GetCount(), 2u);
  EXPECT_TRUE(loaded.GetInt(Zef::PString(longest)) == 1 && loaded.GetInt("next") == 3);
}

TEST(TagFile, DamagedFilesGiveNoRoot) {
  const std::string good = Record("k\0"s, 1, Word(1));
  const struct {
    const char* what;
    std::string file;
    bool valid;
  } cases[] = {{"one record", File(good), true},
               {"five stray bytes", File(good + "\xFF\xFF\xFF\xFF\xFF"), true},
               {"trailing data", File(good) + "more", true},
               {"nothing", "", false},
               {"half a header", File(good).substr(0, 13), false},
               {"wrong magic", "HCS#" + File(good).substr(4), false},
               {"unknown version", File(good, 2), false},
               {"cut by one byte", File(good).substr(0, 16 + good.size() - 1), false},
               {"negative data size", "HCS$" + Word(1) + Word(0) + Word(0x80000000) + good, false},
               {"huge data size", "HCS$" + Word(1) + Word(0) + Word(0x7FFFFFFF) + good, false},
               {"record past the end", File(Word(9) + good.substr(4)), false},
               {"record of maximal size", File(Word(0xFFFFFFFF) + good.substr(4)), false},
               {"record smaller than its key", File(Word(3) + good.substr(4)), false},
               {"key past the end", File(Word(8) + "\xFF" + good.substr(5)), false},
               {"damage one level down", File(Record("", 0, Word(9) + good.substr(4))), false},
               {"child past its parent", File(Record("", 0, Word(8) + "\0\1abcde"s) + good), false},
               {"six stray bytes", File(good + std::string(6, '\xFF')), false},
               {"deepest nesting", File(Nested(1024)), true},
               {"one level more", File(Nested(1025)), false},
               {"a depth bomb", File(Nested(20000)), false}};
  for (const auto& c : cases) {
    EXPECT_EQ(Load(c.file).IsValid(), c.valid) << c.what;
    Zef::TBuffer stream;
    stream.WriteRaw(c.file.data(), static_cast<std::uint32_t>(c.file.size()));
    stream.Seek(0, 0);
    Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
    file->Read(stream);
    EXPECT_EQ(!IsNullChunk(file->GetRoot().Get()), c.valid) << c.what << " from a stream";
  }
  EXPECT_EQ(Save(Load(File(Nested(1024)))), File(Nested(1024)));
}

// Other formats embed a tag file: the reader must stop behind it, whatever it holds.
TEST(TagFile, ReadingFromAStreamFindsItsOwnEnd) {
  const std::string good = Record("k\0"s, 1, Word(1));
  const struct {
    std::string file;
    std::size_t consumed;
  } cases[] = {{File(good), 28}, {File(Word(999) + good), 32}, {File(""), 16}, {File(good, 7), 28}};
  for (const auto& c : cases) {
    Zef::TBuffer stream;
    const std::string bytes = "front" + c.file + "behind";
    stream.WriteRaw(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    stream.Seek(5, 0);
    Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
    file->Read(stream);
    EXPECT_EQ(stream.Tell(), 5 + c.consumed) << c.consumed;
  }

  class Liar final : public Zef::TBuffer {
   public:
    std::uint64_t Size() override { return UINT64_MAX; }
    std::uint32_t Read(void* to, std::uint32_t size) override {
      if (size >= 0x200000) Zef::RaiseFileEx("");
      return TBuffer::Read(to, size);
    }
  };
  std::string large = File(Record("b", 4, std::string(0x2FFFF0, 'b')));
  for (const bool lies : {false, true}) {
    Liar stream;
    if (lies) large.replace(12, 4, Word(0x7FFFFFFF));
    stream.WriteRaw(large.data(), static_cast<std::uint32_t>(large.size()));
    stream.Seek(0, 0);
    Zef::Ref<NOLBinaryFile> file(new NOLBinaryFile);
    if (lies) {
      EXPECT_THROW(file->Read(stream), Zef::FileEx) << "no word on what the file holds";
    } else {
      EXPECT_TRUE(file->Read(stream)) << "read in pieces";
    }
    EXPECT_EQ(file->DataSize(), lies ? 0 : large.size() - 16);
  }
}

TEST(TagFile, WriterRefusesTreesThatContainThemselves) {
  TagContainer outer, inner;
  inner.Ensure();
  outer.SetSubContainer("inner", inner);
  outer.SetSubContainer("self", outer);
  EXPECT_FALSE(outer.HasTag("self"));
  inner.SetSubContainer("outer", outer);
  EXPECT_EQ(Save(outer), "refused");
  TagContainer copy;
  EXPECT_FALSE(copy.CopyFrom(outer));
  std::vector<PLID> ids;
  outer.CollectPLIDs(ids);
  inner.RemoveTag("outer");  // or the two would keep each other alive
}
