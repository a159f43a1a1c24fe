#include "environment/ProductRecord.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <set>

#include "environment/Registry.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

class ProductRecordTest : public testing::Test {
 protected:
  void SetUp() override { SetRegistryRoot(root_ / ""); }
  void TearDown() override {
    CloseProduct();
    SetRegistryRoot({});
  }

  fs::path Product(const std::string& name = "Rail") const {
    return root_.Path() / "SOFTWARE/Mirev/Products" / name;
  }
  static std::string Key() { return OpenedProduct() == nullptr ? "" : OpenedProduct()->keyName; }
  /// Key that the program gets.
  static std::string Register(const std::string& exePath, const std::string& productClass = "A") {
    EXPECT_TRUE(RegisterProduct("Rail", productClass, exePath)) << exePath;
    return Key();
  }
  std::set<std::string> Keys() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(Product())) {
      if (entry.path().filename() != ".lock") names.insert(entry.path().filename());
    }
    return names;
  }

  ::Test::TempFolder root_;
};

TEST_F(ProductRecordTest, EachProgramAndClassHasItsOwnKey) {
  EXPECT_EQ(Register("/one/rail"), "0");
  EXPECT_EQ(Register("/two/rail"), "1");
  EXPECT_EQ(Register("/one/rail"), "0");
  EXPECT_EQ(Register("/one/rail", "B"), "2");
  EXPECT_TRUE(OpenProduct("RAIL", "B", "/one/rail")) << "keys match in any letter case";
  EXPECT_EQ(Key(), "0") << "opening looks at the program alone";
  EXPECT_FALSE(OpenProduct("Rail", "A", "/One/rail"));
  EXPECT_EQ(Key(), "");

  const std::string tooLong = "/" + std::string(300, 'p');
  EXPECT_EQ(Register(tooLong), "3");
  EXPECT_EQ(Register(tooLong), "3") << "a path that was cut is found again";
  for (const char* path : {"", "/none"}) EXPECT_FALSE(OpenProduct("Rail", "A", path)) << path;
  EXPECT_FALSE(RegisterProduct("Rail", "A", ""));
  EXPECT_FALSE(RegisterProduct("", "A", "/one/rail"));
}

TEST_F(ProductRecordTest, TheLowestFreeNumberIsTaken) {
  for (const char* path : {"/0", "/1", "/2"}) Register(path);
  fs::remove_all(Product() / "1");
  for (const char* folder : {"004", "1234567890", "x", "-6", "5/6"}) {
    fs::create_directories(Product() / folder);
  }
  ::Test::WriteWholeFile(Product() / "6", "");
  EXPECT_EQ(Register("/new"), "1");
  EXPECT_EQ(Register("/newer"), "3");
  EXPECT_EQ(Register("/newest"), "7") << "4 and 5 are taken, 6 is a file";
}

TEST_F(ProductRecordTest, NamesStayBelowTheProducts) {
  const struct {
    const char* name;
    const char* folder;
  } cases[] = {{"..", "_."},
               {"../../../evil", "_._.._.._evil"},
               {".hidden", "_hidden"},
               {"a\\..\\b", "a_.._b"},
               {"a\nb", "a_b"}};
  for (const auto& c : cases) {
    EXPECT_TRUE(RegisterProduct(c.name, "A", "/one/rail")) << c.name;
    EXPECT_TRUE(fs::exists(Product(c.folder) / "0/ExePath")) << c.folder;
    EXPECT_TRUE(OpenProduct(c.name, "A", "/one/rail")) << c.name;
  }
}

TEST_F(ProductRecordTest, ValuesComeBackAsTheyWereSet) {
  Register("/one/rail");
  std::string text;
  SetProductName(std::string(300, 'n'));
  EXPECT_TRUE(GetProductName(text) && text == std::string(259, 'n'));
  SetProductVersion("2.9\n");
  EXPECT_TRUE(GetProductVersion(text) && text == "2.9\n");
  SetProductLanguage("");
  EXPECT_TRUE(GetProductLanguage(text) && text.empty());
  SetProductBuild(-2147483647 - 1);
  EXPECT_EQ(GetProductBuild(), -2147483647 - 1);
  SetAutoSave(true);
  SetDontShowError(false);
  EXPECT_TRUE(GetAutoSave() && !GetDontShowError(true));
  EXPECT_EQ(Keys(), std::set<std::string>{"0"});
  EXPECT_EQ(std::distance(fs::directory_iterator(Product() / "0"), {}), 8) << "a temporary is left";
}

TEST_F(ProductRecordTest, WhatOthersWroteIsTakenWithCare) {
  Register("/one/rail");
  const struct {
    std::string bytes;
    int number;
    bool isOn;
  } cases[] = {{"12", 12, false},
               {"12\n", 12, false},
               {" -7 min", -7, false},
               {"none", 0, false},
               {"12345678901", 2147483647, false},
               {"123456789012", 5, false},
               {"", 0, false},
               {"true\n", 0, true},
               {"TRUE", 0, false},
               {std::string("true\0x", 6), 0, true}};
  for (const auto& c : cases) {
    for (const char* name : {"AutoSaveDelay", "AutoSave"}) {
      ::Test::WriteWholeFile(Product() / "0" / name, c.bytes);
    }
    EXPECT_EQ(GetAutoSaveDelay(5), c.number) << c.bytes;
    EXPECT_EQ(GetAutoSave(true), c.isOn) << c.bytes;
  }
  std::string text = "kept";
  ::Test::WriteWholeFile(Product() / "0/ProductName", std::string(260, 'x'));
  EXPECT_FALSE(GetProductName(text) || GetProductVersion(text));
  fs::create_directory(Product() / "0/ProductVersion");
  SetProductVersion("2.9");
  EXPECT_FALSE(GetProductVersion(text));
  CloseProduct();
  SetProductBuild(3);
  EXPECT_FALSE(GetExePath(text));
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(GetAutoSave(true) && GetProductBuild(9) == 9);
}

TEST_F(ProductRecordTest, RecordsOfProgramsThatAreGoneAreRemoved) {
  const std::string program = root_ / "program";
  ::Test::WriteWholeFile(program, "");
  const std::string gone = root_ / "gone";
  Register(program);
  Register(gone);
  Register(gone + "2");
  Register(gone + "3", "B");
  Register(gone + "4");
  fs::remove(Product() / "2/ExePath");
  fs::create_directory(Product() / "4/key");

  EXPECT_EQ(EnumerateProducts("Rail", "A"),
            (std::vector<std::string>{program, gone, "", gone + "4"}));
  EXPECT_TRUE(SelectProduct(1));
  EXPECT_EQ(Key(), "1");
  RemoveDeadProducts();
  EXPECT_EQ(OpenedProduct(), nullptr) << "its key is gone";
  EXPECT_EQ(Keys(), (std::set<std::string>{"0", "3", "4"}));
  EXPECT_TRUE(fs::exists(Product() / "4/ExePath")) << "a key with keys below it stays whole";
  EXPECT_FALSE(SelectProduct(2));
  EXPECT_TRUE(SelectProduct(0));
  RemoveDeadProducts();
  EXPECT_EQ(Key(), "0") << "the open record stays open";
}

TEST_F(ProductRecordTest, WithoutRightsTheRecordCanBeReadAndNotChanged) {
  Register("/one/rail");
  SetProductName("Rail Simulator");
  fs::permissions(root_.Path(), fs::perms(0755));
  for (const auto& entry : fs::recursive_directory_iterator(root_.Path())) {
    fs::permissions(entry.path(), fs::perms(entry.is_directory() ? 0555 : 0444));
  }
  const ::Test::ChildProcess child([] {
    // The superuser may do everything, whatever the permissions say.
    if (getuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
      return 1;
    }
    std::string text;
    if (!RegisterProduct("Rail", "A", "/one/rail") || !GetProductName(text)) return 2;
    SetProductName("changed");
    if (!GetProductName(text) || text != "Rail Simulator") return 3;
    if (RegisterProduct("Rail", "A", "/two/rail") || RegisterProduct("New", "A", "/x")) return 4;
    EnumerateProducts("Rail", "A");
    RemoveDeadProducts();
    return OpenProduct("Rail", "A", "/one/rail") ? 0 : 5;
  });
  EXPECT_EQ(child.AwaitEnd(), 0);
}

TEST_F(ProductRecordTest, ProcessesThatRegisterAtOnceAgree) {
  {
    std::vector<std::unique_ptr<::Test::ChildProcess>> children;
    for (int i = 0; i < 8; ++i) {
      const std::string path = i % 2 == 0 ? "/shared" : "/own" + std::to_string(i);
      children.push_back(std::make_unique<::Test::ChildProcess>(
          [path] { return RegisterProduct("Rail", "A", path) ? 0 : 1; }));
    }
    for (const auto& child : children) EXPECT_EQ(child->AwaitEnd(), 0);
  }
  EXPECT_EQ(Keys(), (std::set<std::string>{"0", "1", "2", "3", "4"}));
}

TEST_F(ProductRecordTest, TheRunningProgramIsFoundByItsOwnPath) {
  const std::string other = root_ / "other";
  SetRegistryRoot({});
  setenv("QUARLE_REGISTRY", other.c_str(), 1);
  EXPECT_TRUE(RegisterRunningProduct("Rail", "A"));
  unsetenv("QUARLE_REGISTRY");
  EXPECT_TRUE(fs::exists(other + "/SOFTWARE/Mirev/Products/Rail/0/ExePath"));
  std::string text;
  EXPECT_TRUE(GetExePath(text) && text == fs::read_symlink("/proc/self/exe").string());
  EXPECT_TRUE(GetProductInstallPath(text) && text == fs::current_path().string());
}

}  // namespace
