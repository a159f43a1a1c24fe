// quarle archive list, extract, create, add, delete, rename.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <functional>

#include "apps/quarle/ArchiveFiles.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/Utf8.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"

namespace {

using Access = MountedArchive::Access;

std::string TimeText(std::uint32_t seconds) {
  using namespace std::chrono;
  const sys_seconds time{std::chrono::seconds(seconds)};
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()));
  return text.data();
}

void PrintRow(const Zef::FileEntry& entry) {
  std::array<char, 64> sizes{};
  std::snprintf(sizes.data(), sizes.size(), "%10lu %10lu  ", static_cast<unsigned long>(entry.size),
                static_cast<unsigned long>(entry.storedSize));
  Print(sizes.data() + TimeText(entry.written) + "  " + Printable(entry.name) + "\n");
}

void WriteRow(JsonWriter& json, const Zef::ArchiveRow& row) {
  json.NewLine();
  json.BeginObject();
  json.Text("name", row.entry.name);
  json.Unsigned("size", row.entry.size);
  json.Unsigned("storedSize", row.size);
  json.Unsigned("checksum", row.entry.checksum);
  json.Bool("compressed", row.IsCompressed());
  json.Unsigned("created", row.entry.created);
  json.Unsigned("accessed", row.entry.accessed);
  json.Unsigned("written", row.entry.written);
  json.EndObject();
}

template <class Visit>
void ForEachFile(const MountedArchive& archive, Visit&& visit) {
  Zef::ArchiveRow row;
  for (std::size_t cursor = 0; archive.Source().NextFile(&cursor, &row);) visit(row);
}

void ListText(const MountedArchive& archive, bool quiet) {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t stored = 0;
  if (!quiet) {
    Print(Emphasised(Emphasis::Heading, "      size     stored  written (UTC)     name") + "\n");
  }
  ForEachFile(archive, [&](const Zef::ArchiveRow& row) {
    PrintRow(row.entry);
    ++files;
    bytes += row.entry.size;
    stored += row.size;
  });
  if (quiet) return;
  Print(Counted(files, "file") + ", " + ByteSize(bytes) + ", stored in " + ByteSize(stored) + "\n");
}

void WriteDamage(JsonWriter& json, const MountedArchive& archive) {
  const auto damage = archive.Source().DamagedAt();
  json.Bool("damaged", damage.has_value());
  if (damage) json.Unsigned("damagedAt", *damage);
}

void ListJson(const MountedArchive& archive) {
  JsonWriter json;
  json.BeginObject();
  json.Text("archive", archive.Path());
  json.Unsigned("version", archive.Source().Version());
  WriteDamage(json, archive);
  json.BeginArray("files");
  ForEachFile(archive, [&](const Zef::ArchiveRow& row) { WriteRow(json, row); });
  json.EndArray();
  json.EndObject();
}

/// What keeps an archive from being read to its end; empty for nothing.
std::string WhyUnread(const MountedArchive& archive) {
  if (!archive.Source().IsReadWhole()) return "the disk cannot read all of it; try again";
  const auto damage = archive.Source().DamagedAt();
  if (!damage) return {};
  return "it is damaged at byte " + std::to_string(*damage) + "; the " +
         Counted(archive.Source().FileCount(), "file") +
         " before that can be read, restore a copy for the rest";
}

int EndReading(const MountedArchive& archive) {
  const std::string why = WhyUnread(archive);
  return why.empty() ? kDone : Fail(Quoted(archive.Path()) + ": " + why);
}

struct Skipped {
  std::string name;
  std::string why;
};

/// Whether a file is what one of the names stands for, itself or as a folder above it; "." is above
/// all files, if there are any or not.
class Selection {
 public:
  explicit Selection(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      keys_.push_back(Zef::ArchiveTable::KeyOf(name));
      used_.push_back(keys_.back().empty());
    }
  }
  bool Takes(const Zef::ArchiveRow& row) {
    if (keys_.empty()) return true;
    const std::string key = Zef::ArchiveTable::KeyOf(row.entry.name);
    bool taken = false;
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      const bool matches = keys_[i].empty() || key == keys_[i] || key.starts_with(keys_[i] + "/");
      used_[i] = used_[i] || matches;
      taken = taken || matches;
    }
    return taken;
  }
  bool WasUsed(std::size_t index) const { return used_[index]; }

 private:
  std::vector<std::string> keys_;
  std::vector<bool> used_;
};

struct Extraction {
  std::vector<Zef::ArchiveRow> rows;
  std::uint64_t bytes = 0;
  std::uint64_t done = 0;
  std::vector<Skipped> skipped;
};

/// Rows of a forged archive may all point to the same bytes, which would be written again and
/// again.
void LeaveOutOverlaps(Extraction& work) {
  std::vector<Zef::ArchiveRow> rows = std::move(work.rows);
  std::stable_sort(rows.begin(), rows.end(),
                   [](const auto& a, const auto& b) { return a.offset < b.offset; });
  std::uint64_t end = 0;
  work.rows.clear();
  for (const Zef::ArchiveRow& row : rows) {
    if (row.offset < end && row.size > 0) {
      work.skipped.push_back({row.entry.name, "its content is part of another file's"});
      continue;
    }
    end = std::max(end, row.End());
    work.bytes += row.size;
    work.rows.push_back(row);
  }
}

Extraction Select(const MountedArchive& archive, const std::vector<std::string>& names) {
  Extraction work;
  Selection selection(names);
  ForEachFile(archive, [&](const Zef::ArchiveRow& row) {
    if (selection.Takes(row)) work.rows.push_back(row);
  });
  LeaveOutOverlaps(work);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!selection.WasUsed(i)) work.skipped.push_back({names[i], "the archive has no such file"});
  }
  return work;
}

void ExtractAll(const MountedArchive& archive, const std::string& folder,
                const CommonOptions& common, Extraction& work) {
  Progress progress(common, "extracting", work.bytes);
  ExtractFolder target(folder);
  std::uint64_t bytes = 0;
  for (const Zef::ArchiveRow& row : work.rows) {
    std::string why = target.Take(archive, row);
    if (why.empty()) {
      ++work.done;
    } else {
      work.skipped.push_back({row.entry.name, std::move(why)});
    }
    progress.Advance(bytes += row.size);
  }
}

void PrintExtraction(const MountedArchive& archive, const ArchiveOptions& options,
                     const CommonOptions& common, const Extraction& work) {
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("archive", archive.Path());
    json.Text("folder", options.folder);
    json.Unsigned("extracted", work.done);
    json.BeginArray("problems");
    for (const Skipped& each : work.skipped) {
      json.NewLine();
      json.BeginObject();
      json.Text("name", each.name);
      json.Text("problem", each.why);
      json.EndObject();
    }
    json.EndArray();
    WriteDamage(json, archive);
    json.EndObject();
    return;
  }
  if (common.quiet) return;
  for (const Skipped& each : work.skipped) Print("  " + Quoted(each.name) + ": " + each.why + "\n");
  Print(Counted(work.done, "file") + " extracted to " + Quoted(options.folder) + "\n");
}

/// Raises FileEx; the archive then has what it had.
void CopyInto(Zef::File& from, Zef::File& to, const std::function<void(std::size_t)>& advance) {
  std::vector<std::byte> span(1u << 18);
  try {
    for (std::size_t got = 1; got > 0;) {
      got = from.Read(span.data(), 1, span.size());
      to.Write(span.data(), 1, got);
      advance(got);
    }
  } catch (...) {
    to.Abandon();
    throw;
  }
  to.Close();
}

/// False, with the failure's line printed.
bool CheckNames(const MountedArchive& archive, const ArchiveInputs& inputs) {
  for (const ArchiveInput& input : inputs.files) {
    const std::string obstacle = archive.Obstacle(input.name);
    if (obstacle.empty()) continue;
    static_cast<void>(Fail(Quoted(input.path) + " cannot be added to " + Quoted(archive.Path()) +
                           ": " + obstacle + "; rename one of them"));
    return false;
  }
  return true;
}

/// Fills an archive with the files; false, with the failure's line printed.
bool AddAll(const MountedArchive& archive, const ArchiveInputs& inputs, bool compress,
            const CommonOptions& common, std::uint64_t* replaced) {
  const std::uint32_t mode =
      Zef::FileMode::kCreate | (compress ? Zef::FileMode::kWriteCompressed : Zef::FileMode::kWrite);
  Progress progress(common, "adding", inputs.bytes);
  std::uint64_t done = 0;
  for (const ArchiveInput& input : inputs.files) {
    Zef::File from;
    Zef::File to;
    // How small one becomes shows only when it is compressed.
    if (!compress && !archive.Source().HasRoomFor(input.size)) {
      static_cast<void>(Fail(Quoted(input.path) + " cannot be added to " + Quoted(archive.Path()) +
                             ": its " + ByteSize(input.size) +
                             " do not fit, for an archive has less than 4 GiB; leave it out, or "
                             "start another one"));
      return false;
    }
    if (from.Open(Zef::PString(), input.path.c_str(), Zef::FileMode::kReadRaw) != Zef::RES_OK) {
      static_cast<void>(Fail(Quoted(input.path) + ": it cannot be read; check its permissions"));
      return false;
    }
    if (Zef::File::Exists(archive.Name(), input.name.c_str()) == Zef::RES_OK) ++*replaced;
    bool added = to.Open(archive.Name(), input.name.c_str(), mode) == Zef::RES_OK;
    try {
      if (added) CopyInto(from, to, [&](std::size_t bytes) { progress.Advance(done += bytes); });
    } catch (const Zef::FileEx&) {
      added = false;
    }
    if (added) continue;
    static_cast<void>(Fail(Quoted(input.path) + " cannot be added to " + Quoted(archive.Path()) +
                           "; make room on the disk, and stay below 4 GiB an archive; one that "
                           "takes no changes is to be extracted and created anew"));
    return false;
  }
  return true;
}

int RunAdding(const ArchiveOptions& options, const CommonOptions& common, Access access) {
  ArchiveInputs inputs;
  std::uint64_t replaced = 0;
  MountedArchive archive;
  if (!CollectInputs(options.folder, options.names, options.archive, &inputs)) return kFailed;
  if (!archive.Open(options.archive, access)) return kFailed;
  if (!CheckNames(archive, inputs) ||
      !AddAll(archive, inputs, options.compress, common, &replaced) || !archive.Finish()) {
    if (access == Access::Create) archive.Discard();
    return kFailed;
  }
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("archive", options.archive);
    json.Unsigned("added", inputs.files.size());
    json.Unsigned("replaced", replaced);
    json.Unsigned("bytes", inputs.bytes);
    json.Unsigned("linksLeftOut", inputs.links);
    json.Unsigned("specialsLeftOut", inputs.specials);
    json.EndObject();
  } else if (!common.quiet) {
    std::string text = Quoted(options.archive) + ": " + Counted(inputs.files.size(), "file") +
                       " added, " + ByteSize(inputs.bytes);
    if (replaced > 0) text += ", " + std::to_string(replaced) + " of them replaced";
    if (inputs.links > 0) text += "; " + Counted(inputs.links, "link") + " left out";
    if (inputs.specials > 0) text += "; " + Counted(inputs.specials, "special file") + " left out";
    Print(text + "\n");
  }
  return kDone;
}

int EndChange(MountedArchive& archive, const CommonOptions& common, const std::string& what) {
  if (!archive.Finish()) return kFailed;
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("archive", archive.Path());
    json.Unsigned("files", archive.Source().FileCount());
    json.EndObject();
  } else if (!common.quiet) {
    Print(Quoted(archive.Path()) + ": " + what + "\n");
  }
  return kDone;
}

}  // namespace

int RunArchiveList(const ArchiveOptions& options, const CommonOptions& common) {
  MountedArchive archive;
  if (!archive.Open(options.archive, Access::Read)) return kFailed;
  if (common.json) {
    ListJson(archive);
  } else {
    ListText(archive, common.quiet);
  }
  return EndReading(archive);
}

int RunArchiveExtract(const ArchiveOptions& options, const CommonOptions& common) {
  MountedArchive archive;
  if (!archive.Open(options.archive, Access::Read)) return kFailed;
  if (!Zef::Platform::MakeFolders(options.folder)) {
    return Fail(Quoted(options.folder) + ": this folder cannot be made; name another one");
  }
  Extraction work = Select(archive, options.names);
  ExtractAll(archive, options.folder, common, work);
  PrintExtraction(archive, options, common, work);
  if (work.skipped.empty()) return EndReading(archive);
  const Skipped& first = work.skipped.front();
  const std::string unread = WhyUnread(archive);
  return Fail(Quoted(options.archive) + ": " + Counted(work.skipped.size(), "file") +
              " not extracted or not as stored, first " + Quoted(first.name) + ": " + first.why +
              (unread.empty() ? "" : "; besides, " + unread));
}

int RunArchiveCreate(const ArchiveOptions& options, const CommonOptions& common) {
  return RunAdding(options, common, Access::Create);
}

int RunArchiveAdd(const ArchiveOptions& options, const CommonOptions& common) {
  return RunAdding(options, common, Access::Change);
}

int RunArchiveDelete(const ArchiveOptions& options, const CommonOptions& common) {
  MountedArchive archive;
  if (!archive.Open(options.archive, Access::Change)) return kFailed;
  for (const std::string& name : options.names) {
    if (archive.Has(name)) continue;
    return Fail(Quoted(options.archive) + " has no file or folder " + Quoted(name) +
                "; nothing was deleted, see quarle archive list");
  }
  const std::size_t before = archive.Source().FileCount();
  for (const std::string& name : options.names) {
    const bool isFile = Zef::File::Exists(archive.Name(), name.c_str()) == Zef::RES_OK;
    if (!isFile && !archive.HasFolder(name)) continue;  // named twice
    const bool deleted = isFile ? Zef::File::Delete(archive.Name(), name.c_str())
                                : Zef::File::DeleteFolder(archive.Name(), name.c_str());
    if (!deleted) {
      return Fail(Quoted(name) + " cannot be deleted; extract the archive and create it anew");
    }
  }
  const std::size_t after = archive.Source().FileCount();
  return EndChange(archive, common, Counted(before - after, "file") + " deleted");
}

int RunArchiveRename(const ArchiveOptions& options, const CommonOptions& common) {
  MountedArchive archive;
  if (!archive.Open(options.archive, Access::Change)) return kFailed;
  const auto exists = [&](const std::string& name) {
    return Zef::File::Exists(archive.Name(), name.c_str()) == Zef::RES_OK;
  };
  if (!exists(options.from)) {
    return Fail(Quoted(options.archive) + " has no file " + Quoted(options.from) +
                "; see quarle archive list");
  }
  if (const std::string obstacle = archive.Obstacle(options.to); !obstacle.empty()) {
    return Fail(Quoted(options.archive) + ": " + obstacle + "; take another name");
  }
  Zef::FilePath to(options.to);
  to.Normalise();
  if (!StartsAtRoot(options.to) && !StartsAtRoot(to.View()) &&
      Zef::File::Rename(archive.Name(), options.from.c_str(), to.Text())) {
    return EndChange(archive, common, Quoted(options.from) + " is now " + Quoted(to.View()));
  }
  return Fail(Quoted(options.to) + (exists(options.to)
                                        ? " exists already; delete it first"
                                        : " is no name for a file in an archive; take another"));
}
