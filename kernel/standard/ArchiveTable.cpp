#include "kernel/standard/ArchiveTable.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "kernel/standard/CodePage.h"

namespace Zef {

std::string ArchiveTable::KeyOf(std::string_view name) {
  FilePath path(name);
  path.Normalise();
  return Folded(path.View());
}

void ArchiveTable::Reserve(std::size_t count) {
  files_.reserve(count);
  byKey_.reserve(count);
}

void ArchiveTable::Clear() {
  sorted_.reset();
  byKey_.clear();
  files_.clear();
}

ArchiveFile* ArchiveTable::Find(std::string_view key) const {
  const auto found = byKey_.find(key);
  return found == byKey_.end() ? nullptr : found->second;
}

bool ArchiveTable::IsBlocked(std::string_view key) {
  for (std::size_t at = key.find('/'); at != key.npos; at = key.find('/', at + 1)) {
    if (Find(key.substr(0, at)) != nullptr) return true;
  }
  const std::string inside = std::string(key) + '/';
  const ArchiveFile* const first = FromKey(inside);
  return first != nullptr && first->key.starts_with(inside);
}

std::uint32_t ArchiveTable::Add(const ArchiveRow& row) {
  std::string key = KeyOf(row.entry.name);
  ArchiveFile* const other = Find(key);
  if (other != nullptr && other->row.offset > row.offset) return row.offset;
  // A place that is not filled is that of a file which is gone.
  const std::size_t place = files_.size();
  files_.emplace_back();
  if (other != nullptr) {
    const std::uint32_t unused = other->row.offset < row.offset ? other->row.offset : 0;
    files_[place] = std::move(files_[other->place]);
    other->place = place;
    other->row = row;
    return unused;
  }
  auto file = std::make_unique<ArchiveFile>();
  file->row = row;
  file->key = std::move(key);
  file->place = place;
  Link(file.get());
  files_[place] = std::move(file);
  return 0;
}

void ArchiveTable::Link(ArchiveFile* file) {
  byKey_.emplace(file->key, file);
  try {
    if (sorted_ != nullptr) sorted_->emplace(file->key, file);
  } catch (const std::bad_alloc&) {
    sorted_.reset();  // made again when it is needed
  }
}

void ArchiveTable::Remove(ArchiveFile* file) {
  byKey_.erase(file->key);
  if (sorted_ != nullptr) sorted_->erase(file->key);
  files_[file->place].reset();
}

// The maps keep their nodes, so that nothing is allocated.
void ArchiveTable::Rename(ArchiveFile* file, std::string_view name, std::string key) {
  auto node = byKey_.extract(file->key);
  auto sortedNode = sorted_ != nullptr ? sorted_->extract(file->key) : SortedFiles::node_type();
  FileEntry& entry = file->row.entry;
  std::memset(entry.name, 0, sizeof entry.name);
  std::memcpy(entry.name, name.data(), std::min(name.size(), sizeof entry.name - 1));
  file->key = std::move(key);
  node.key() = file->key;
  byKey_.insert(std::move(node));
  if (sortedNode.empty()) return;
  sortedNode.key() = file->key;
  sorted_->insert(std::move(sortedNode));
}

const ArchiveFile* ArchiveTable::From(std::size_t place) const {
  while (place < files_.size() && files_[place] == nullptr) ++place;
  return place < files_.size() ? files_[place].get() : nullptr;
}

const ArchiveFile* ArchiveTable::FromKey(std::string_view key) {
  if (sorted_ == nullptr) {
    auto sorted = std::make_unique<SortedFiles>();
    for (const auto& [fileKey, file] : byKey_) sorted->emplace(fileKey, file);
    sorted_ = std::move(sorted);
  }
  const auto found = sorted_->lower_bound(key);
  return found == sorted_->end() ? nullptr : found->second;
}

// Keys hold no zero byte, so nothing comes between a separator and the byte 1.
std::string ArchiveTable::Behind(std::string_view key) { return std::string(key) + '\x01'; }

bool ArchiveTable::FolderOrder::operator()(std::string_view a, std::string_view b) const {
  const auto rank = [](char c) { return c == '/' ? 0 : static_cast<unsigned char>(c); };
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [&](char x, char y) { return rank(x) < rank(y); });
}

}  // namespace Zef
