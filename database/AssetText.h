// AssetText: a text field of an asset record.
//
// A record that was loaded from an index file borrows its texts from the file's image, which the
// index keeps for as long as the record lives: loading allocates nothing a text. A text that is
// assigned or copied owns its characters (a SharedText). So a copy of a record may outlive the
// index it came from; a record itself may not.
//
// "No storage" and "storage without characters" are two values, as for SharedText, and both
// survive a load and a save. Not thread-safe; 16 bytes.

#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "kernel/standard/SharedText.h"

class AssetText {
 public:
  AssetText() noexcept {}
  AssetText(const AssetText& other) { *this = other; }
  AssetText(AssetText&& other) noexcept { Take(other); }
  ~AssetText() { Release(); }

  AssetText& operator=(const AssetText& other) {
    if (this == &other) return *this;
    if (other.form_ == Form::Owned) {
      *this = other.owned_;
    } else if (other.form_ == Form::Borrowed) {
      *this = other.View();
    } else {
      Clear();
    }
    return *this;
  }
  AssetText& operator=(AssetText&& other) noexcept {
    if (this == &other) return *this;
    Release();
    Take(other);
    return *this;
  }

  /// A text without storage clears the field.
  AssetText& operator=(const Zef::SharedText& text) {
    Zef::SharedText kept(text);  // the argument may be this field's own
    Release();
    if (!kept.HasStorage()) return *this;
    new (&owned_) Zef::SharedText(std::move(kept));
    form_ = Form::Owned;
    return *this;
  }
  /// Copies; gives storage also for no characters.
  AssetText& operator=(std::string_view text) {
    Zef::SharedText copy;
    copy.Assign(text);
    return *this = copy;
  }
  /// A null text gives no storage.
  AssetText& operator=(const char* text) { return *this = Zef::SharedText(text); }

  /// Refers to bytes that outlive this field. Gives storage also for no characters.
  void Borrow(std::string_view text) {
    Release();
    borrowed_ = text.data();
    length_ = static_cast<std::uint32_t>(text.size());
    form_ = Form::Borrowed;
  }
  /// Back to no storage.
  void Clear() { Release(); }

  bool HasStorage() const { return form_ != Form::None; }
  bool IsEmpty() const { return View().empty(); }
  /// Not zero-terminated. Valid until the field changes.
  std::string_view View() const {
    if (form_ == Form::Owned) return owned_.View();
    return form_ == Form::Borrowed ? std::string_view(borrowed_, length_) : std::string_view();
  }
  std::string String() const { return std::string(View()); }

  /// Same characters; no storage and no characters are alike.
  friend bool operator==(const AssetText& a, const AssetText& b) { return a.View() == b.View(); }
  friend bool operator==(const AssetText& a, std::string_view b) { return a.View() == b; }

 private:
  enum class Form : std::uint8_t { None, Borrowed, Owned };

  void Release() {
    if (form_ == Form::Owned) owned_.~SharedText();
    form_ = Form::None;
  }
  void Take(AssetText& other) noexcept {
    form_ = other.form_;
    if (form_ == Form::Owned) {
      new (&owned_) Zef::SharedText(std::move(other.owned_));
    } else if (form_ == Form::Borrowed) {
      borrowed_ = other.borrowed_;
      length_ = other.length_;
    }
    other.Release();
  }

  union {
    const char* borrowed_ = nullptr;
    Zef::SharedText owned_;
  };
  std::uint32_t length_ = 0;
  Form form_ = Form::None;
};
