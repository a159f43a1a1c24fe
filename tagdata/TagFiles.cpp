#include "tagdata/TagFiles.h"

#include <algorithm>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "kernel/ByteWriter.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FileSub.h"
#include "kernel/standard/RootFiles.h"
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

/// Whether the file, which is open, lies on the operating system's disk under its own name.
bool IsOnDisk(const Zef::File& file) {
  const Zef::FileSub* const source = file.Origin().source;
  return source == nullptr || source->IsKind(Zef::FileSubKind::Folder);
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
  void Delete() const { static_cast<void>(Zef::File::Delete(root, path.c_str())); }
  bool Open(Zef::File& file, std::uint32_t mode) const {
    return file.Open(root, path.c_str(), mode) == Zef::RES_OK;
  }
  bool IsFile() const {
    Zef::File file;
    return Open(file, Zef::FileMode::kReadRaw);
  }
  /// Deletes the file, which is open: on disk before its lock is gone, so that it is still this
  /// one.
  void Delete(Zef::File& file) const {
    if (!IsOnDisk(file)) file.Close();
    Delete();
  }
  /// Deletes the file, unless somebody is writing it.
  void DeleteUnused() const {
    Zef::File file;
    if (Open(file, Zef::FileMode::kReadRaw)) Delete(file);
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

/// Leaves the file open, and so locked.
bool Load(TagContainer& handle, const Place& place, TagForm form, Zef::File& file,
          TagTextLosses* losses = nullptr) try {
  if (form == TagForm::None || !place.Open(file, place.ReadMode())) return false;
  if (form == TagForm::Text) {
    ReadTagText(handle, ReadWhole(file), /*filter=*/nullptr, losses);
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

/// What a file of a tree will hold, made before any file is touched.
class FileImage {
 public:
  /// False for no form and for a tree that the writer refuses.
  bool Make(const TagContainer& handle, TagForm form) try {
    if (form == TagForm::None) return false;
    isText_ = form == TagForm::Text;
    return isText_ ? AppendTagText(text_, handle) : AppendBinaryTags(records_, handle);
  } catch (const std::bad_alloc&) {
    return false;
  }

  std::span<const std::byte> View() const {
    return isText_ ? std::as_bytes(std::span(text_)) : records_.View();
  }

 private:
  bool isText_ = false;
  std::string text_;
  Zef::ByteWriter records_;
};

bool WriteWhole(Zef::File& file, const FileImage& image) {
  return file.Write(image.View().data(), 1, image.View().size()) == image.View().size();
}

bool WriteToDevice(Zef::File& file, const FileImage& image) try {
  if (!WriteWhole(file, image)) return false;
  file.FlushToDevice();
  return true;
} catch (const Zef::FileEx&) {
  return false;
}

/// The last name of `path`, as it is spelt in the folder that holds `neighbour`.
std::string NameBeside(const std::string& neighbour, const std::string& path) {
  const std::string folder = neighbour.substr(0, neighbour.find_last_of("/\\"));
  return Zef::Platform::ResolveCase(folder, path.substr(path.find_last_of("/\\") + 1));
}

/// Where the temporary goes on disk.
std::string TargetOf(const Zef::File& temporary, const Place& place) {
  return place.root.IsEmpty() ? place.path : NameBeside(temporary.Name(), place.path);
}

/// Gives the temporary, before there is anything in it, the owner and the permissions of the file
/// that it will replace.
void TakePermissions(const Zef::File& temporary, const Place& place) {
  if (!IsOnDisk(temporary)) return;
  const auto old = Zef::Platform::OpenFile(TargetOf(temporary, place), {});
  if (old) Zef::Platform::CopyPermissions(old.Get(), temporary.Origin().handle);
}

/// Puts the whole temporary, which is open, in the place of the file: on disk in one step and under
/// its lock, so that neither a crash nor another process leaves nothing.
bool PutInPlace(Zef::File& file, const Place& temporary, const Place& place) {
  if (IsOnDisk(file)) {
    return Zef::Platform::Replace(file.Name(), TargetOf(file, place));
  }
  file.Close();
  if (!temporary.IsFile()) return false;
  place.Delete();
  return Zef::File::Rename(temporary.root, temporary.path.c_str(), place.path.c_str());
}

/// Loads what a save left; with tags in it, it takes the place of a file that is missing. False,
/// with nothing changed, when it cannot be read.
bool TakeLeftover(TagContainer& handle, const Place& temporary, const Place& place, TagForm form) {
  Zef::File file;
  if (!Load(handle, temporary, form, file)) return false;
  if (!handle.IsValid()) return true;
  if (!IsOnDisk(file)) file.Close();
  static_cast<void>(Zef::File::Rename(temporary.root, temporary.path.c_str(), place.path.c_str()));
  return true;
}

bool SaveImage(const FileImage& image, const Place& place) try {
  Zef::File file;
  if (!place.Open(file, Zef::FileMode::kCreateWrite)) return false;
  const bool written = WriteWhole(file, image);
  file.Close();
  return written;
} catch (const Zef::FileEx&) {
  return false;
}

/// Makes way for a new temporary. False when what stands there may be the only copy.
bool ClearTemporary(const Place& temporary, const Place& place, TagForm form) {
  if (!temporary.Exists()) return true;
  if (!place.Exists()) {
    TagContainer left;
    if (!TakeLeftover(left, temporary, place, form)) return false;
    if (left.IsValid() && !place.Exists()) return false;
  }
  temporary.DeleteUnused();
  return true;
}

}  // namespace

TagForm TagFormOf(std::string_view path, std::string_view extension) {
  static constexpr std::pair<std::string_view, TagForm> kForms[] = {
      {"txt", TagForm::Text},
      {"grole", TagForm::Binary},
      {"kpx", TagForm::Binary},
      {"kpx2", TagForm::Binary},
  };
  if (path.find('\0') != std::string_view::npos) return TagForm::None;
  if (extension.empty()) extension = ExtensionOf(path);
  if (extension.starts_with('.')) extension.remove_prefix(1);
  for (const auto& [name, form] : kForms) {
    if (Zef::EqualFolded(extension, name)) return form;
  }
  return TagForm::None;
}

bool LoadTagFile(TagContainer& handle, const Zef::PString& root, std::string_view path,
                 std::string_view extension, TagTextLosses* losses) try {
  Zef::File file;
  return Load(handle, Place(root, path), TagFormOf(path, extension), file, losses);
} catch (const std::bad_alloc&) {
  return false;
}

bool SaveTagFile(const TagContainer& handle, const Zef::PString& root, std::string_view path,
                 std::string_view extension) try {
  FileImage image;
  return image.Make(handle, TagFormOf(path, extension)) && SaveImage(image, Place(root, path));
} catch (const std::bad_alloc&) {
  return false;
}

bool SaveTagFileSafe(const TagContainer& handle, const Zef::PString& root, std::string_view path,
                     std::string_view extension) try {
  const Place place(root, path);
  const Place temporary = place.Temporary();
  const TagForm form = TagFormOf(path, extension);
  FileImage image;
  if (!image.Make(handle, form)) return false;
  if (!ClearTemporary(temporary, place, form)) return false;
  Zef::File file;
  constexpr std::uint32_t kMode = Zef::FileMode::kCreateNew | Zef::FileMode::kWrite;
  if (!temporary.Open(file, kMode)) return false;
  TakePermissions(file, place);
  const bool isWhole = WriteToDevice(file, image);
  if (isWhole && PutInPlace(file, temporary, place)) return true;
  // Without the file the temporary is all there is.
  if (file.IsOpen() && (!isWhole || place.Exists())) temporary.Delete(file);
  return false;
} catch (const Zef::FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

bool LoadTagFileSafe(TagContainer& handle, const Zef::PString& root, std::string_view path,
                     std::string_view extension) try {
  const Place place(root, path);
  const Place temporary = place.Temporary();
  const TagForm form = TagFormOf(path, extension);
  Zef::File file;
  if (Load(handle, place, form, file)) {
    if (handle.IsValid()) temporary.DeleteUnused();
    return true;
  }
  TagContainer left;
  if (!TakeLeftover(left, temporary, place, form) || !left.IsValid()) return false;
  handle = std::move(left);
  return true;
} catch (const Zef::FileEx&) {
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

PLID LoadPLIDFromFile(const Zef::PString& root, std::string_view path) try {
  if (!Zef::FileExists(root, path)) return {};
  const Place place(root, path);
  TagContainer config;
  for (const char* name : {"config.txt", "config.grole"}) {
    Place beside = place.Beside(name);
    if (beside.root.IsEmpty()) beside.path = NameBeside(beside.path, beside.path);
    Zef::File file;
    if (beside.Exists() && Load(config, beside, TagFormOf(name), file)) break;
  }
  return config.GetPLID("plid");
} catch (const std::bad_alloc&) {
  return {};
}
