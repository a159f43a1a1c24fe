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
  /// Names of the keys and of the lock.
  std::set<std::string> Keys() const {
    std::set<std::string> names;
    for (const auto& each : fs::directory_iterator(Product())) names.insert(each.path().filename());
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
  EXPECT_FALSE(OpenProduct("Rail", "A", "/One/rail") || OpenedProduct() != nullptr);

  const std::string tooLong(300, 'p');
  EXPECT_EQ(Register(tooLong), "3");
  EXPECT_EQ(Register(tooLong), "3") << "a path that was cut is found again";
  EXPECT_FALSE(RegisterProduct("Rail", "A", "") || RegisterProduct("", "A", "/one/rail"));

  const std::pair<const char*, const char*> cases[] = {
      {"..", "_."}, {"../../evil", "_._.._evil"}, {"a\\..\\b", "a_.._b"}, {"a\nb", "a_b"}};
  for (const auto& [name, folder] : cases) {
    EXPECT_TRUE(RegisterProduct(name, "A", "/one/rail")) << name;
    EXPECT_TRUE(fs::exists(Product(folder) / "0/ExePath")) << folder;
  }
}

TEST_F(ProductRecordTest, TheLowestFreeNumberIsTaken) {
  for (const char* path : {"/0", "/1", "/2"}) Register(path);
  fs::remove_all(Product() / "1");
  for (const char* key : {"004", "x", "-6", "5/6"}) fs::create_directories(Product() / key);
  ::Test::WriteWholeFile(Product() / "6", "");
  EXPECT_EQ(Register("/new"), "1");
  EXPECT_EQ(Register("/newer"), "3");
  EXPECT_EQ(Register("/newest"), "7") << "4 and 5 are taken, 6 is a file";
}

TEST_F(ProductRecordTest, ValuesComeBackAsTheyWereSetOrEdited) {
  Register("/one/rail");
  std::string text;
  SetProductName(std::string(300, 'n'));
  EXPECT_TRUE(GetProductName(text) && text == std::string(259, 'n'));
  SetProductBuild(-2147483647 - 1);
  SetAutoSave(true);
  EXPECT_TRUE(GetAutoSave() && GetProductBuild() == -2147483647 - 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(Product() / "0"), {}), 5) << "a temporary is left";

  const struct {
    const char* bytes;
    int number;
    bool isOn;
  } cases[] = {{"12\n", 12, false}, {" -7 min", -7, false}, {"12345678901", 2147483647, false},
               {"none", 0, false},  {"true\n", 0, true},    {"123456789012", 5, false}};
  for (const auto& c : cases) {
    ::Test::WriteWholeFile(Product() / "0/AutoSaveDelay", c.bytes);
    ::Test::WriteWholeFile(Product() / "0/AutoSave", c.bytes);
    EXPECT_EQ(GetAutoSaveDelay(5), c.number) << c.bytes;
    EXPECT_EQ(GetAutoSave(true), c.isOn) << c.bytes;
  }

  text = "kept";
  ::Test::WriteWholeFile(Product() / "0/ProductName", std::string(260, 'x'));
  EXPECT_FALSE(GetProductName(text));
  CloseProduct();
  SetProductBuild(3);
  EXPECT_FALSE(GetExePath(text));
  EXPECT_TRUE(text == "kept" && GetAutoSave(true) && GetProductBuild(9) == 9);
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
  RemoveDeadProducts();
  EXPECT_EQ(OpenedProduct(), nullptr) << "its key is gone";
  EXPECT_EQ(Keys(), (std::set<std::string>{".lock", "0", "3", "4"}));
  EXPECT_TRUE(fs::exists(Product() / "4/ExePath")) << "a key with keys below it stays whole";
  EXPECT_TRUE(!SelectProduct(2) && SelectProduct(0));
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
  std::vector<std::unique_ptr<::Test::ChildProcess>> children;
  for (int i = 0; i < 8; ++i) {
    const std::string path = i % 2 == 0 ? "/shared" : "/own" + std::to_string(i);
    children.push_back(std::make_unique<::Test::ChildProcess>(
        [path] { return RegisterProduct("Rail", "A", path) ? 0 : 1; }));
  }
  for (const auto& child : children) EXPECT_EQ(child->AwaitEnd(), 0);
  EXPECT_EQ(Keys(), (std::set<std::string>{".lock", "0", "1", "2", "3", "4"}));
}

TEST_F(ProductRecordTest, TheRunningProgramIsFoundByItsOwnPath) {
  SetRegistryRoot({});
  setenv("QUARLE_REGISTRY", (root_ / "").c_str(), 1);
  EXPECT_TRUE(RegisterRunningProduct("Rail", "A"));
  unsetenv("QUARLE_REGISTRY");
  EXPECT_TRUE(fs::exists(Product() / "0"));
  std::string text;
  EXPECT_TRUE(GetExePath(text) && text == fs::read_symlink("/proc/self/exe").string());
  EXPECT_TRUE(GetProductInstallPath(text) && text == fs::current_path().string());
}

}  // namespace
