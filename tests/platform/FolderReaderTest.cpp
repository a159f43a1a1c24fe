#include <gtest/gtest.h>

#include "kernel/platform/FolderReader.h"
#include "tests/support/TestFiles.h"

namespace Zef::Platform {
namespace {

namespace fs = std::filesystem;

TEST(PlatformFolderReader, ListsFindsAndOpensWithoutFollowingLinks) {
  const ::Test::TempFolder folder;
  for (const char* name : {"b", "B", "CONFIG.txt", "Config.TXT", "sub/x"}) {
    ::Test::WriteWholeFile(folder / name, "12345");
  }
  fs::create_directory_symlink("sub", folder / "linked");
  fs::create_symlink("b", folder / "a-link");
  const FolderReader reader(folder.Path().string());
  FolderListing listing;
  ASSERT_TRUE(reader.IsOpen());
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(reader.List(&listing));
    listing.Sort();
    std::string names;
    for (std::size_t at = 0; at < listing.Count(); ++at) {
      names += listing.NameView(at);
      names += "fdl-"[static_cast<int>(listing.Kind(at))];
      names += ' ';
    }
    EXPECT_EQ(names, "a-linkl Bf bf CONFIG.txtf Config.TXTf linkedl subd ");
  }
  EXPECT_EQ(listing.NameView(listing.Find("config.txt")), "CONFIG.txt");
  EXPECT_EQ(listing.NameView(listing.Find("Config.TXT")), "Config.TXT");
  EXPECT_EQ(listing.Find("config"), FolderListing::kNone);
  EXPECT_EQ(listing.CountOf(EntryKind::Link), 2u);

  EXPECT_EQ(reader.SizeOf("b"), 5u);
  EXPECT_EQ(reader.SizeOf("a-link"), 0u);
  EXPECT_EQ(reader.SizeOf("none"), 0u);
  EXPECT_EQ(reader.OpenFile("a-link"), kNoFile);
  FolderReader sub = reader.OpenFolder("sub");
  ASSERT_TRUE(sub.List(&listing));
  EXPECT_EQ(listing.Count(), 1u);
  EXPECT_FALSE(reader.OpenFolder("linked").IsOpen());
  EXPECT_FALSE(reader.OpenFolder("b").IsOpen());
  sub = FolderReader(folder / "none");
  EXPECT_FALSE(sub.IsOpen());
  EXPECT_FALSE(sub.List(&listing));
  EXPECT_EQ(listing.Count(), 0u);

  for (int i = 0; i < 1000; ++i) {  // more than one batch of names
    fs::create_directory(folder / ("sub/" + std::string(40, 'n') + std::to_string(i)));
  }
  ASSERT_TRUE(reader.OpenFolder("sub").List(&listing));
  EXPECT_EQ(listing.Count(), 1001u);
}

}  // namespace
}  // namespace Zef::Platform
