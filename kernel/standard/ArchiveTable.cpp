#include "kernel/standard/ArchiveTable.h"

#include <algorithm>
#include <cstring>

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
  auto file = std::make_unique<ArchiveFile>();
  file->row = row;
  file->key = KeyOf(row.entry.name);
  file->place = files_.size();
  std::uint32_t unused = 0;
  if (ArchiveFile* other = Find(file->key)) {
    if (other->row.offset > row.offset) return row.offset;
    if (other->row.offset < row.offset) unused = other->row.offset;
    Remove(other);
  }
  files_.push_back(std::move(file));
  Link(files_.back().get());
  return unused;
}

void ArchiveTable::Remove(ArchiveFile* file) {
  Unlink(file);
  files_[file->place].reset();
}

void ArchiveTable::Rename(ArchiveFile* file, std::string_view name) {
  std::string key = KeyOf(name);
  Unlink(file);
  FileEntry& entry = file->row.entry;
  std::memset(entry.name, 0, sizeof entry.name);
  std::memcpy(entry.name, name.data(), std::min(name.size(), sizeof entry.name - 1));
  file->key = std::move(key);
  Link(file);
}

void ArchiveTable::Link(ArchiveFile* file) {
  byKey_.emplace(file->key, file);
  if (sorted_ != nullptr) sorted_->emplace(file->key, file);
}

void ArchiveTable::Unlink(ArchiveFile* file) {
  byKey_.erase(file->key);
  if (sorted_ != nullptr) sorted_->erase(file->key);
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
