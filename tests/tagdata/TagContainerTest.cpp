// The same tree operations on heap containers of every size and on files edited in memory, held
// against a plain list that does what the operations promise.

#include "tagdata/TagContainer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "tests/support/Threads.h"
#include "tests/tagdata/TagBytes.h"

using namespace std::string_literals;
using TagBytes::File;
using TagBytes::Load;
using TagBytes::Record;
using TagBytes::Save;
using TagBytes::Word;

namespace {

/// "key=value" of every tag by position, through the slow road of key and lookup.
std::string Listing(const TagContainer& tags) {
  std::string text;
  for (std::uint32_t i = 0; i < tags.GetCount(); ++i) {
    const Zef::PString key = tags.GetTagName(i);
    text += std::string(key.View()) + "=" + std::string(tags.GetString(key).View()) + " ";
  }
  return text;
}

TagContainer IntFile(int count) {
  std::string records;
  for (int i = 0; i < count; ++i) {
    records += Record("k" + std::to_string(i) + "\0"s, 1, Word(static_cast<std::uint32_t>(i)));
  }
  return Load(File(records));
}

}  // namespace

TEST(TagContainer, NullHandlesAndNullTagsGiveDefaults) {
  TagContainer none;
  const TagContainer absent(NullChunk());
  TagContainer nullTag;
  nullTag.SetNull("k");
  EXPECT_EQ(nullTag.GetTagIndex("k"), 0) << "it is there, but HasTag denies it";
  for (const TagContainer& tags : {none, absent, nullTag}) {
    EXPECT_FALSE(tags.HasTag("k"));
    EXPECT_TRUE(tags.GetInt("k", 7) == 7 && tags.GetBool("k", true));
    EXPECT_EQ(tags.GetPLID("k", PLID(1, 2, 3)), PLID(1, 2, 3));
    EXPECT_TRUE(tags.GetString("k").IsNull() && tags.GetText("k").Text() == nullptr);
    EXPECT_FALSE(tags.GetRawData("k") || tags.GetSubContainerAt(0).IsValid());
    EXPECT_EQ(tags.GetTag("other"), NullChunk()) << "one shared null chunk";
  }
  none.SetInt("k", 1);
  EXPECT_EQ(none.GetInt("k"), 1) << "a setter makes the container";
}

TEST(TagContainer, OrderDuplicatesSwapsAndSorting) {
  TagContainer tags;
  tags.SetInt("b", 1);
  tags.SetInt("a", 2);
  tags.SetInt("c", 3);
  tags.SetInt("b", 4);
  EXPECT_EQ(Listing(tags), "a=2 c=3 b=4 ") << "a key that is set again moves to the end";
  tags.SwapTags(tags.GetTag("a"), tags.GetTag("b"));
  EXPECT_EQ(Listing(tags), "a=4 c=3 b=2 ") << "values change places, keys do not";
  tags.SwapTags(tags.GetTag("a"), NullChunk());
  const ChunkRef shared = tags.GetTag("c");
  tags.Chunk()->AddTag("a", shared);
  EXPECT_EQ(Listing(tags), "a=4 c=3 b=2 a=4 ") << "a lookup finds the first";
  tags.SetInt("a", 5);
  EXPECT_EQ(Listing(tags), "c=3 b=2 a=3 a=3 ") << "a setter removes only the first";
  tags.RemoveTag("a");
  EXPECT_EQ(Listing(tags), "b=2 a=3 a=3 ") << "a shared value goes from where it stands first";
  tags.SetInt("\x80", 1);
  tags.SetInt("", 0);
  tags.SortTags();
  EXPECT_EQ(Listing(tags), "=0 a=3 a=3 b=2 \x80=1 ") << "keys sort as unsigned bytes, stably";
  EXPECT_STREQ(tags.NextFreeNumericKey().Text(), "0");
  tags.SetInt("0", 0);
  tags.SetNull("1");
  EXPECT_STREQ(tags.NextFreeNumericKey().Text(), "1") << "a null tag counts as absent";
}

// Large enough to have a table, in which the tags of one key form a chain.
TEST(TagContainer, TagsOfOneKeyGoOneByOne) {
  const char* const orders[] = {"120", "021", "012"};
  for (std::size_t first = 0; first < 3; ++first) {
    TagContainer tags;
    for (int i = 0; i < 100; ++i) tags.SetInt(Zef::PString("k" + std::to_string(i)), i);
    std::vector<ChunkRef> same;
    for (int i = 0; i < 3; ++i) {
      same.push_back(NewHeapTag(TagInt, HCSRawDataCore::Copy(&i, sizeof i)));
      tags.Chunk()->AddTag("same", same.back());
    }
    tags.RemoveTag("k5");
    EXPECT_EQ(tags.GetTagIndex("same"), 99);
    tags.RemoveChunk(same[first]);
    tags.Chunk()->AddTag("same", same[first]);
    std::string order;
    for (; tags.HasTag("same"); tags.RemoveTag("same"))
      order += std::to_string(tags.GetInt("same"));
    EXPECT_EQ(order, orders[first]);
  }
  EXPECT_TRUE(comptagstr("Kind", 4, "kIND") && comptagstr("Kind", 4, "kiND", 4));
  EXPECT_FALSE(comptagstr("Kinds", 5, "kind") || comptagstr("Kind", 4, "Kin", 3) ||
               comptagstr(nullptr, 0, "") || comptagstr("", 0, nullptr));
}

// Random edits on a heap container that grows past its table's threshold and back, and on a file
// whose edits lie in the overlay. The model is a list of (key, value).
TEST(TagContainer, EveryFormBehavesLikeAPlainList) {
  const struct {
    const char* what;
    TagContainer tags;
    int keys;
  } cases[] = {{"small heap", TagContainer(), 6},
               {"large heap", TagContainer(), 200},
               {"small file", IntFile(5), 8},
               {"large file", IntFile(150), 200}};
  for (const auto& c : cases) {
    std::mt19937 random(99);
    TagContainer tags = c.tags;
    tags.Ensure();
    std::vector<std::pair<std::string, int>> model;
    for (std::uint32_t i = 0; i < tags.GetCount(); ++i) {
      model.emplace_back("k" + std::to_string(i), static_cast<int>(i));
    }
    const bool isFile = !model.empty();
    const auto find = [&](const std::string& key) {
      return std::find_if(model.begin(), model.end(),
                          [&](auto& pair) { return pair.first == key; });
    };
    // In a file the place of a dropped tag is taken by the next one: compare without order.
    const auto comparable = [&](std::string text) {
      if (isFile) std::sort(text.begin(), text.end());
      return text;
    };
    for (int step = 0; step < 3000; ++step) {
      const std::string key = "k" + std::to_string(random() % static_cast<unsigned>(c.keys));
      const auto found = find(key);
      const Zef::PString name(key);
      ASSERT_EQ(tags.HasTag(name), found != model.end()) << c.what << step;
      ASSERT_EQ(tags.FindTag(key)->GetType(), found != model.end() ? TagInt : TagNull);
      if (random() % 3 == 0) {
        tags.RemoveTag(name);
        if (found != model.end()) model.erase(found);
      } else {
        tags.SetInt(name, step);
        if (found != model.end()) model.erase(found);
        model.emplace_back(key, step);
      }
      if (step % 50 != 0 && step < 2990) continue;
      ASSERT_EQ(tags.GetCount(), model.size()) << c.what << step;
      std::string expected;
      for (const auto& [tagKey, value] : model) {
        expected += tagKey + "=" + std::to_string(find(tagKey)->second) + " ";
      }
      ASSERT_EQ(comparable(Listing(tags)), comparable(expected)) << c.what << step;
      std::uint32_t at = 0;
      tags.ForEach([&](std::string_view tagKey, const ChunkRef& chunk) {
        ASSERT_EQ(tagKey, tags.GetTagName(at++).View()) << c.what << step;
        ASSERT_EQ(chunk->GetData()[0], tags.FindTag(tagKey)->GetData()[0]) << c.what << step;
      });
    }
    EXPECT_TRUE(tags.HasChanges());
    const std::string saved = Save(tags);
    EXPECT_EQ(Listing(Load(saved)), Listing(tags)) << c.what;
    EXPECT_EQ(Save(TagContainer::DeepCopy(tags)), saved) << c.what;
  }
}

TEST(TagOverlay, EditsShowInEveryViewAndFollowTheFile) {
  const std::string inner = Record("x\0"s, 1, Word(1)) + Record("y\0"s, 1, Word(2));
  TagContainer root = Load(File(Record("sub\0"s, 0, inner) + Record("a\0"s, 1, Word(3))));
  const ChunkRef removed = root.GetSubContainer("sub").GetTag("x");
  root.GetSubContainer("sub").RemoveTag("x");
  EXPECT_EQ(Listing(root.GetSubContainer("sub")), "y=2 ") << "seen by a view made later";
  EXPECT_TRUE(root.HasChanges());
  root.GetSubContainer("sub").RemoveChunk(removed);
  root.RemoveChunk(root.GetSubContainer("sub").GetTag("y"));
  EXPECT_EQ(root.GetSubContainer("sub").GetCount(), 1u) << "only a tag's own container removes it";

  root.SetInt("new", 4);
  root.SetInt("more", 5);
  EXPECT_EQ(root.GetTagIndex("new"), 2) << "added tags come behind all of the file";
  const ChunkRef added = root.GetTag("new");
  root.Chunk()->AddTag("again", added);
  EXPECT_FALSE(root.HasTag("again")) << "a chunk is carried once";
  root.RemoveTag("new");
  root.SetInt("third", 6);
  EXPECT_EQ(root.GetTagIndex("third"), 2) << "the freed place is taken first";
  root.Chunk()->AddTag("a", NewHeapTag(TagInt, nullptr));
  EXPECT_EQ(root.GetInt("a"), 3) << "the file's tag stands first";
  root.RemoveTag("a");
  EXPECT_EQ(root.GetInt("a", -1), -1);
  EXPECT_EQ(root.GetTagType("a"), TagInt) << "and then the added one shows";

  // A copy of a part that is hung back into its own file must not keep the file alive for ever.
  root.SetSubContainer("copy", TagContainer::DeepCopy(root.GetSubContainer("sub")));
  const TagContainer kept = TagContainer::DeepCopy(root);
  root.Clear();
  EXPECT_EQ(kept.GetSubContainer("copy").GetInt("y"), 2);
}

TEST(TagContainer, CopyReplacesWhatStoodThere) {
  TagContainer source;
  source.SetInt("a", 1);
  source.SetSubContainer("sub", TagContainer::DeepCopy(source));
  for (TagContainer target :
       {TagContainer(), IntFile(3), IntFile(100), TagContainer::DeepCopy(source)}) {
    EXPECT_TRUE(target.CopyFrom(source));
    EXPECT_EQ(Save(target), Save(source));
    target.GetSubContainer("sub").SetInt("a", 2);
    EXPECT_EQ(source.GetSubContainer("sub").GetInt("a"), 1) << "containers are copied deeply";
  }
  EXPECT_TRUE(source.CopyFrom(source) && source.GetCount() == 2);
  TagContainer sub = source.GetSubContainer("sub");
  EXPECT_TRUE(sub.CopyFrom(source));
  EXPECT_EQ(Listing(sub), "a=1 sub= ");
  EXPECT_EQ(Listing(sub.GetSubContainer("sub")), "a=1 ") << "what the target held by then";
  TagContainer value(NewHeapTag(TagNull, nullptr));
  EXPECT_TRUE(value.CopyFrom(TagContainer(source.GetTag("a"))));
  EXPECT_EQ(value.Chunk()->GetType(), TagInt);
}

TEST(TagContainer, CollectsIdentifiersOnceAndInOrder) {
  TagContainer deep, root;
  deep.SetString("x", "<plid:1:1>");
  deep.SetPLID("y", PLID(2, 2, 2));
  root.SetPLID("a", PLID(3, 3, 3));
  root.SetSubContainer("deep", deep);
  root.SetString("b", "no identifier");
  root.SetString("c", "<plid2:3:3:3>");
  root.SetInt("d", 42);
  std::vector<PLID> ids = {PLID(2, 2, 2)}, flat;
  root.CollectPLIDs(ids);
  root.CollectPLIDsFlat(flat);
  EXPECT_EQ(ids, std::vector<PLID>({{2, 2, 2}, {3, 3, 3}, {1, 1, 0}}));
  EXPECT_EQ(flat, std::vector<PLID>({{3, 3, 3}, {-1, 42, 127}}));
}

TEST(TagContainer, ManyThreadsMayLookUpInOneFile) {
  const TagContainer tags = IntFile(500);
  ::Test::OnThreads(4, [&](int) {
    for (int i = 0; i < 500; ++i) {
      EXPECT_EQ(tags.GetInt(Zef::PString("k" + std::to_string(i))), i);
      EXPECT_EQ(tags.GetCount(), 500U);
    }
  });
}
