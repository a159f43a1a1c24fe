#include "tagdata/TagFiles.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/TFile.h"
#include "tagdata/BinaryTagWriter.h"
#include "tagdata/NOLBinaryFile.h"
#include "tagdata/TagTextReader.h"
#include "tagdata/TagTextWriter.h"

namespace {

constexpr std::string_view kTemporaryExtension = "tmp";

std::string_view ExtensionOf(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : path.substr(dot + 1);
}

/// A path below a substitution, or one of the operating system when the root is null.
struct Place {
  Place(const Zef::PString& rootName, std::string_view text) : root(rootName) {
    if (root.IsEmpty()) static_cast<void>(Zef::FindSubst(text, &root, &text));
    path = text;
  }
  /// The same with another name at the end of the path.
  Place Beside(std::string_view name) const {
    const std::size_t folder = path.find_last_of("/\\") + 1;
    return {root, path.substr(0, folder).append(name), Exact()};
  }
  /// Where a safe save writes first.
  Place Temporary() const {
    std::string_view name(path);
    name.remove_prefix(path.find_last_of("/\\") + 1);
    // A name that has this extension already must not be its own temporary.
    const bool taken = Zef::EqualFolded(ExtensionOf(name), kTemporaryExtension);
    const std::string_view stem = taken ? name : name.substr(0, name.rfind('.'));
    return Beside(std::string(stem).append(".").append(kTemporaryExtension));
  }

  bool Exists() const { return Zef::File::Exists(root, path.c_str()) == Zef::RES_OK; }
  void Delete() const { Zef::File::Delete(root, path.c_str()); }
  bool Open(Zef::File& file, std::uint32_t mode) const {
    return file.Open(root, path.c_str(), mode) == Zef::RES_OK;
  }
  bool IsFile() const {
    Zef::File file;
    return Open(file, Zef::FileMode::kReadRaw);
  }
  /// Only what lies below a name may be compressed.
  std::uint32_t ReadMode() const {
    return root.IsEmpty() ? Zef::FileMode::kReadRaw : Zef::FileMode::kRead;
  }

  Zef::PString root;
  std::string path;

 private:
  struct Exact {};
  Place(const Zef::PString& rootName, std::string text, Exact)
      : root(rootName), path(std::move(text)) {}
};

/// What a compressed file says of its size is not believed: the text grows as bytes arrive.
std::string ReadWhole(Zef::File& file) {
  constexpr std::size_t kFirstBlock = 0x10000;
  std::string bytes;
  const auto size = static_cast<std::size_t>(std::max<std::int64_t>(file.Size(), 0));
  std::size_t got = 0;
  while (got < size) {
    bytes.resize(std::min(size, std::max(kFirstBlock, 2 * got)));
    const std::size_t count = file.Read(bytes.data() + got, 1, bytes.size() - got);
    if (count == 0) break;
    got += count;
  }
  bytes.resize(got);
  return bytes;
}

bool Load(TagContainer& handle, const Place& place, TagForm form) try {
  Zef::File file;
  if (form == TagForm::None || !place.Open(file, place.ReadMode())) return false;
  if (form == TagForm::Text) {
    ReadTagText(handle, ReadWhole(file));
    return true;
  }
  Zef::TFile stream(&file, /*owned=*/false);
  Zef::Ref<NOLBinaryFile> image(new NOLBinaryFile);
  image->Read(stream);
  TagContainer root(image->GetRoot());
  handle = root.IsValid() ? std::move(root) : TagContainer();
  return true;
} catch (const Zef::FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

bool WriteWhole(const Place& place, const void* bytes, std::size_t size, bool toDevice) {
  Zef::File file;
  if (!place.Open(file, Zef::FileMode::kCreateWrite)) return false;
  const bool written = file.Write(bytes, 1, size) == size;
  if (toDevice) file.FlushToDevice();
  file.Close();
  return written;
}

bool Save(const TagContainer& handle, const Place& place, TagForm form, bool toDevice) try {
  if (form == TagForm::Text) {
    std::string text;
    return AppendTagText(text, handle) && WriteWhole(place, text.data(), text.size(), toDevice);
  }
  Zef::ByteWriter bytes;
  return form == TagForm::Binary && AppendBinaryTags(bytes, handle) &&
         WriteWhole(place, bytes.View().data(), bytes.Size(), toDevice);
} catch (const Zef::FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

/// The names of two existing files on the operating system's disk, if they lie in one source.
bool FindOnDisk(const Place& a, const Place& b, std::array<std::string, 2>& names) {
  Zef::File first;
  Zef::File second;
  if (!a.Open(first, Zef::FileMode::kReadRaw) || !b.Open(second, Zef::FileMode::kReadRaw)) {
    return false;
  }
  const Zef::FileSub* const source = first.Origin().source;
  if (second.Origin().source != source) return false;
  if (source != nullptr && !source->IsKind(Zef::FileSubKind::Folder)) return false;
  names = {first.Name(), second.Name()};
  return true;
}

/// In one step where the disk can do it, so that no crash leaves neither file.
bool Replace(const Place& from, const Place& to) try {
  if (!to.Exists()) return Zef::File::Rename(from.root, from.path.c_str(), to.path.c_str());
  std::array<std::string, 2> names;
  if (FindOnDisk(from, to, names)) return Zef::Platform::Replace(names[0], names[1]);
  to.Delete();
  return Zef::File::Rename(from.root, from.path.c_str(), to.path.c_str());
} catch (const Zef::FileEx&) {
  return false;
}

}  // namespace

TagForm TagFormOf(std::string_view path, std::string_view extension) {
  static constexpr std::pair<std::string_view, TagForm> kForms[] = {
      {"txt", TagForm::Text},
      {"grole", TagForm::Binary},
      {"kpx", TagForm::Binary},
      {"kpx2", TagForm::Binary},
  };
  if (extension.empty()) extension = ExtensionOf(path);
  if (extension.starts_with('.')) extension.remove_prefix(1);
  for (const auto& [name, form] : kForms) {
    if (Zef::EqualFolded(extension, name)) return form;
  }
  return TagForm::None;
}

bool LoadTagFile(TagContainer& handle, const Zef::PString& root, std::string_view path,
                 std::string_view extension) {
  return Load(handle, Place(root, path), TagFormOf(path, extension));
}

bool SaveTagFile(const TagContainer& handle, const Zef::PString& root, std::string_view path,
                 std::string_view extension) {
  return Save(handle, Place(root, path), TagFormOf(path, extension), /*toDevice=*/false);
}

bool SaveTagFileSafe(const TagContainer& handle, const Zef::PString& root, std::string_view path,
                     std::string_view extension) {
  const Place place(root, path);
  const Place temporary = place.Temporary();
  const TagForm form = TagFormOf(path, extension);
  if (form == TagForm::None) return false;
  // What a crash left may be the only copy.
  if (!place.Exists() && temporary.IsFile() && !Replace(temporary, place)) return false;
  temporary.Delete();
  if (Save(handle, temporary, form, /*toDevice=*/true)) return Replace(temporary, place);
  temporary.Delete();
  return false;
}

bool LoadTagFileSafe(TagContainer& handle, const Zef::PString& root, std::string_view path,
                     std::string_view extension) {
  const Place place(root, path);
  const Place temporary = place.Temporary();
  const TagForm form = TagFormOf(path, extension);
  if (place.Exists()) {
    if (!Load(handle, place, form)) return false;
    temporary.Delete();
    return true;
  }
  if (form == TagForm::None || !temporary.IsFile()) return false;
  if (!Load(handle, temporary, form)) return false;
  static_cast<void>(Replace(temporary, place));
  return true;
}

PLID LoadPLIDFromFile(const Zef::PString& root, std::string_view path) {
  const Place place(root, path);
  if (!place.Exists()) return {};
  TagContainer config;
  for (const char* name : {"config.txt", "config.grole"}) {
    const Place file = place.Beside(name);
    if (file.Exists() && Load(config, file, TagFormOf(name))) break;
  }
  return config.GetPLID("plid");
}
