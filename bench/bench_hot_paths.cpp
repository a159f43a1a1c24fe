// Time of the hot paths by themselves, on generated indexes: a record's cost from 10,000 to
// 100,000 records must hardly grow. bench/compare.sh measures the whole against other tools.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "bench/ConfigText.h"
#include "bench/Random.h"
#include "bench/ReleasePair.h"
#include "database/MUKAssetIndex.h"
#include "database/ShownName.h"
#include "kernel/standard/Crc32.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/PString.h"
#include "kernel/standard/PairCoder.h"
#include "kernel/standard/Subst.h"
#include "plugin/PatchSet.h"
#include "tagdata/PLID.h"
#include "tagdata/TagTextReader.h"
#include "tagdata/TagTextWriter.h"

namespace {

namespace fs = std::filesystem;
constexpr const char* kIndexName = "assets.mkx";

/// A pair of index files and the set between them, made once a size and deleted at the end.
class Files {
 public:
  explicit Files(std::uint32_t records)
      : root_(fs::temp_directory_path() /
              ("quarle_bench_" + std::to_string(records) + "_" +
               std::to_string(Random(reinterpret_cast<std::uintptr_t>(this), 0).Next()))) {
    for (const char* folder : {"old", "new", "set/data", "work"})
      fs::create_directories(root_ / folder);
    ReleasePair::Options options;
    options.content.records = records;
    const ReleasePair pair(options);
    made_ = Make(pair, &ReleasePair::FillOld, Old()) && Make(pair, &ReleasePair::FillNew, New()) &&
            MakePatchSet(kIndexName, Folder("old"), Folder("new"), Folder("set"));
  }
  ~Files() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  bool Made() const { return made_; }
  std::string Folder(const char* name) const { return (root_ / name).string() + "/"; }
  std::string Old() const { return Folder("old") + kIndexName; }
  std::string New() const { return Folder("new") + kIndexName; }

  static const Files& Of(benchmark::State& state) {
    static std::map<std::int64_t, std::unique_ptr<Files>> all;
    auto& files = all[state.range(0)];
    if (files == nullptr)
      files = std::make_unique<Files>(static_cast<std::uint32_t>(state.range(0)));
    if (!files->Made()) state.SkipWithError("cannot make the index files");
    return *files;
  }

 private:
  static bool Make(const ReleasePair& pair, void (ReleasePair::*fill)(MUKAssetIndex&) const,
                   const std::string& path) {
    MUKAssetIndex index;
    (pair.*fill)(index);
    return index.Save(path);
  }

  fs::path root_;
  bool made_ = false;
};

/// Fails the run unless `done`; reports records a second.
void Expect(benchmark::State& state, bool done) {
  if (!done) state.SkipWithError("the operation failed");
}

void CountRecords(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::vector<PLID> ShuffledIds(const MUKAssetIndex& index) {
  std::vector<PLID> ids;
  for (const MUKAsset* record : index.AllRecords()) ids.push_back(record->id);
  Random(1, 1).ShuffleNearby(std::span(ids), static_cast<std::uint32_t>(ids.size()));
  return ids;
}

void BM_IndexLoad(benchmark::State& state) {
  const Files& files = Files::Of(state);
  MUKAssetIndex index;
  for (auto _ : state) Expect(state, index.Load(files.Old()));
  CountRecords(state);
}

void BM_IndexSave(benchmark::State& state) {
  const Files& files = Files::Of(state);
  MUKAssetIndex index;
  Expect(state, index.Load(files.Old()));
  for (auto _ : state) Expect(state, index.Save(files.Folder("work") + kIndexName));
  CountRecords(state);
}

void BM_IndexFind(benchmark::State& state) {
  MUKAssetIndex index;
  Expect(state, index.Load(Files::Of(state).Old()));
  const std::vector<PLID> ids = ShuffledIds(index);
  for (auto _ : state) {
    for (const PLID& id : ids) benchmark::DoNotOptimize(index.Find(id));
  }
  CountRecords(state);
}

/// Takes a tenth out and puts as many back, with the walk that squeezes the orders.
void BM_IndexRemoveAddTenth(benchmark::State& state) {
  MUKAssetIndex index;
  Expect(state, index.Load(Files::Of(state).Old()));
  std::vector<PLID> ids = ShuffledIds(index);
  ids.resize(ids.size() / 10);
  for (auto _ : state) {
    for (const PLID& id : ids) index.Remove(id);
    for (const PLID& id : ids) {
      MUKAsset record;
      record.id = id;
      index.Add(std::move(record));
    }
    benchmark::DoNotOptimize(index.AllRecords().data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ids.size()) * 2);
}

void BM_SortByShownName(benchmark::State& state) {
  MUKAssetIndex index;
  Expect(state, index.Load(Files::Of(state).Old()));
  const std::vector<MUKAsset*> arrival(index.AllRecords().begin(), index.AllRecords().end());
  for (auto _ : state) {
    std::vector<MUKAsset*> records = arrival;
    SortByShownName(records);
    benchmark::DoNotOptimize(records.data());
  }
  CountRecords(state);
}

void BM_Diff(benchmark::State& state) {
  const Files& files = Files::Of(state);
  for (auto _ : state) {
    Expect(state,
           MakePatchSet(kIndexName, files.Folder("old"), files.Folder("new"), files.Folder("set")));
  }
  CountRecords(state);
}

void BM_Patch(benchmark::State& state) {
  const Files& files = Files::Of(state);
  for (auto _ : state) {
    state.PauseTiming();
    fs::copy_file(files.Old(), files.Folder("work") + kIndexName,
                  fs::copy_options::overwrite_existing);
    state.ResumeTiming();
    Expect(state, ApplyPatchSet(kIndexName, files.Folder("work"), files.Folder("set")));
  }
  CountRecords(state);
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_IndexLoad)->Apply(Sizes);
BENCHMARK(BM_IndexSave)->Apply(Sizes);
BENCHMARK(BM_IndexFind)->Apply(Sizes);
BENCHMARK(BM_IndexRemoveAddTenth)->Apply(Sizes);
BENCHMARK(BM_SortByShownName)->Apply(Sizes);
BENCHMARK(BM_Diff)->Apply(Sizes);
BENCHMARK(BM_Patch)->Apply(Sizes);

/// Interning texts that are in the pool already, which is what most keys are.
void BM_PStringIntern(benchmark::State& state) {
  std::vector<std::string> texts;
  std::vector<Zef::PString> held;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    texts.push_back("interned-key-" + std::to_string(i));
    held.emplace_back(texts.back().c_str());
  }
  for (auto _ : state) {
    for (const std::string& text : texts) benchmark::DoNotOptimize(Zef::PString(text.c_str()));
  }
  CountRecords(state);
}
BENCHMARK(BM_PStringIntern)->Arg(100)->Arg(10'000)->Arg(100'000);

std::vector<PLID> ManyIds() {
  ContentGenerator::Options options;
  options.records = 10'000;
  const ContentGenerator content(options);
  std::vector<PLID> ids;
  for (std::uint32_t number = 0; number < options.records; ++number) {
    ids.push_back(content.Identity(number));
  }
  return ids;
}

void BM_PLIDPrint(benchmark::State& state) {
  const std::vector<PLID> ids = ManyIds();
  for (auto _ : state) {
    for (const PLID& id : ids) benchmark::DoNotOptimize(id.TagText());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ids.size()));
}
BENCHMARK(BM_PLIDPrint);

void BM_PLIDParse(benchmark::State& state) {
  std::vector<std::string> texts;
  for (const PLID& id : ManyIds()) texts.push_back(id.TagText());
  for (auto _ : state) {
    for (const std::string& text : texts) {
      benchmark::DoNotOptimize(PLID(std::string_view(text), true));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}
BENCHMARK(BM_PLIDParse);

std::string ArchivedName(std::uint32_t number) {
  return "trains/Wagon " + std::to_string(number % 977) + "/textures/Part-" +
         std::to_string(number) + ".texture";
}

/// An archive of many small files, put together without going through the file layer.
std::string MakeArchive(std::uint32_t files) {
  const std::string path = (fs::temp_directory_path() / "quarle_bench_archive.ja").string();
  Zef::ByteWriter chunks;
  Zef::ByteWriter rows;
  Zef::AppendArchiveHead(chunks, {});
  for (std::uint32_t number = 0; number < files; ++number) {
    Zef::ArchiveRow row;
    const std::string name = ArchivedName(number);
    name.copy(row.entry.name, sizeof row.entry.name - 1);
    row.size = row.entry.size = row.entry.storedSize = static_cast<std::uint32_t>(name.size());
    Zef::AppendArchiveChunkHead(
        chunks, {Zef::ArchiveFormat::kFileTag, Zef::ArchiveFormat::kEntrySize + row.size});
    Zef::AppendArchiveEntry(chunks, row.entry);
    row.offset = static_cast<std::uint32_t>(chunks.Size());
    chunks.Text(name);
    Zef::AppendArchiveRow(rows, row);
  }
  Zef::ByteWriter head;
  Zef::AppendArchiveHead(
      head, {Zef::ArchiveFormat::kVersion, files, static_cast<std::uint32_t>(chunks.Size())});
  Zef::AppendArchiveChunkHead(
      chunks, {Zef::ArchiveFormat::kIndexTag, static_cast<std::uint32_t>(rows.Size())});
  std::ofstream out(path, std::ios::binary);
  const auto write = [&](std::span<const std::byte> bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  };
  write(head.View());
  write(chunks.View().subspan(head.Size()));
  write(rows.View());
  return path;
}

/// Opening files of a mounted archive by their names, in no order, and closing them.
void BM_ArchiveOpenFile(benchmark::State& state) {
  const auto files = static_cast<std::uint32_t>(state.range(0));
  const std::string path = MakeArchive(files);
  const Zef::PString mount("bench-archive");
  Expect(state, Zef::Subst(mount, path.c_str(), false));
  std::vector<std::string> names;
  Random random(files, 2);
  for (int i = 0; i < 10'000; ++i) {
    names.push_back(ArchivedName(static_cast<std::uint32_t>(random.Next() % files)));
  }
  for (auto _ : state) {
    Zef::File file;
    for (const std::string& name : names) {
      Expect(state, file.Open(mount, name.c_str(), Zef::FileMode::kRead) == Zef::RES_OK);
      file.Close();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(names.size()));
  Zef::Subst(mount, nullptr, false);
  fs::remove(path);
}
BENCHMARK(BM_ArchiveOpenFile)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

/// Mounting by the index, or by a walk over the chunks where that is missing.
void BM_ArchiveMount(benchmark::State& state) {
  const std::string path = MakeArchive(100'000);
  if (state.range(0) == 0) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(Zef::ArchiveFormat::kInfoOffset + Zef::ArchiveFormat::kIndexOffsetInInfo);
    file.write("\0\0\0", 4);
  }
  for (auto _ : state) {
    Zef::FileSubArchive archive(path.c_str(), true);
    Expect(state, archive.FileCount() == 100'000);
  }
  state.SetItemsProcessed(state.iterations() * 100'000);
  fs::remove(path);
}
BENCHMARK(BM_ArchiveMount)->ArgName("index")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

void BM_Crc32(benchmark::State& state) {
  const std::string bytes(1 << 20, 'x');
  for (auto _ : state) benchmark::DoNotOptimize(Zef::Crc32(0, bytes.data(), bytes.size()));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_Crc32);

std::vector<std::string> ConfigTexts() {
  constexpr std::uint32_t kFiles = 2000;
  ContentGenerator::Options options;
  options.records = kFiles;
  const ContentGenerator content(options);
  std::vector<std::string> texts;
  for (std::uint32_t number = 0; number < kFiles; ++number) {
    texts.push_back(ConfigText(content, number));
  }
  return texts;
}

std::int64_t TotalSize(const std::vector<std::string>& texts) {
  std::int64_t size = 0;
  for (const std::string& text : texts) size += static_cast<std::int64_t>(text.size());
  return size;
}

/// Each file by itself, as a scan reads them; the trees are freed within the time.
void BM_TagTextRead(benchmark::State& state) {
  const std::vector<std::string> texts = ConfigTexts();
  for (auto _ : state) {
    for (const std::string& text : texts) {
      TagContainer tags;
      ReadTagText(tags, text);
      benchmark::DoNotOptimize(tags);
    }
  }
  state.SetBytesProcessed(state.iterations() * TotalSize(texts));
}
BENCHMARK(BM_TagTextRead)->Unit(benchmark::kMillisecond);

void BM_TagTextWrite(benchmark::State& state) {
  const std::vector<std::string> texts = ConfigTexts();
  std::vector<TagContainer> trees(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) ReadTagText(trees[i], texts[i]);
  std::string out;
  std::int64_t written = 0;
  for (auto _ : state) {
    for (const TagContainer& tags : trees) {
      out.clear();
      Expect(state, AppendTagText(out, tags));
      written += static_cast<std::int64_t>(out.size());
    }
  }
  state.SetBytesProcessed(written);
}
BENCHMARK(BM_TagTextWrite)->Unit(benchmark::kMillisecond);

/// A block of index-like text, as the compressed files hold them.
std::string CoderBlock() {
  return ContentGenerator(ContentGenerator::Options{}).Prose(1, 16384).substr(0, 16384);
}

void BM_PairCoderEncode(benchmark::State& state) {
  const std::string block = CoderBlock();
  std::vector<std::uint8_t> from(block.begin(), block.end());
  std::vector<std::uint8_t> to(from.size());
  Zef::PairCoder coder;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        coder.Encode(to.data(), from.data(), static_cast<std::uint32_t>(from.size())));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(from.size()));
}
BENCHMARK(BM_PairCoderEncode);

void BM_PairCoderDecode(benchmark::State& state) {
  const std::string block = CoderBlock();
  std::vector<std::uint8_t> from(block.begin(), block.end());
  std::vector<std::uint8_t> coded(from.size());
  Zef::PairCoder coder;
  const std::uint32_t size =
      coder.Encode(coded.data(), from.data(), static_cast<std::uint32_t>(from.size()));
  for (auto _ : state) {
    const auto decoded = Zef::PairCoder::Decode(
        from.data(), static_cast<std::uint32_t>(from.size()), coded.data(), size);
    Expect(state, decoded == from.size());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(from.size()));
}
BENCHMARK(BM_PairCoderDecode);

}  // namespace
