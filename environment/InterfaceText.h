// InterfaceText: every text that the user sees, looked up by key in one tag file per language.
//
// The process has one InterfaceTextDB, made from the current file on first use and held in memory.
// Which file that is follows from the language (Languages.h) and the root folder; a change counts
// for the next load only. docs/interface-text.md tells of the file.
//
// Log hooks and file sources that a load calls must not ask for a text.
// A lookup is one in a tag tree. Any thread may look up; the first use should still be on the main
// thread while it starts, because a file that cannot be read ends in a QuarleEx.

#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "kernel/standard/PString.h"
#include "tagdata/TagContainer.h"

class InterfaceTextDB {
 public:
  static constexpr int kMostWarnings = 10;

  /// Loads the current file, or the ".txt" of the same name where that fails, after a line in the
  /// log. Raises QuarleEx when there is neither.
  InterfaceTextDB();
  InterfaceTextDB(const InterfaceTextDB&) = delete;
  InterfaceTextDB& operator=(const InterfaceTextDB&) = delete;
  virtual ~InterfaceTextDB() = default;

  /// Text of the key, empty when there is none. Missing texts of which a warning is wanted are
  /// logged, ten of them in a process.
  Zef::PString GetString(const Zef::PString& key, bool warnIfMissing = true) const;
  /// From the section of specs, by the cleaned key; the key itself when there is no text.
  Zef::PString GetSpecText(const Zef::PString& key) const;
  /// From the section of scenarios, empty when there is none.
  Zef::PString GetScenarioText(const Zef::PString& key) const;

  /// The whole file, and its section of maps. Null handles for what is not there.
  const TagContainer& Root() const { return root_; }
  const TagContainer& MapText() const { return mapText_; }

 private:
  TagContainer root_;
  TagContainer mapText_;
  TagContainer specText_;
  TagContainer scenarioText_;
};

/// The process's texts, loaded on first use; raises QuarleEx as the constructor does. Whoever holds
/// the pointer may use the texts after they were destroyed for everybody else.
std::shared_ptr<const InterfaceTextDB> InterfaceText();
/// Loads the texts now, and notes that the host asked for them.
void EnsureInterfaceText();
bool WasInterfaceTextRequested();
/// Forgets the texts; the next use loads again.
void DestroyInterfaceText();

/// Name of the file, "interfacetext.grole" at first. A full path of 259 bytes and more is cut.
void SetInterfaceFile(const Zef::PString& name);
Zef::PString GetInterfaceFile();
/// Substitution below which the file lies, "data" at first; null for a path of the system.
void SetInterfaceRoot(const Zef::PString& root);
Zef::PString GetInterfaceRoot();

/// `text` with its "%s" replaced by the parameters in order, by nothing once they are used up, and
/// with "%%" as "%". Everything else stays as it is, so a text from a file can do no harm.
[[nodiscard]] std::string FillText(std::string_view text,
                                   std::span<const std::string> parameters = {});
/// The message of a key as the user reads it: its text filled with the parameters, or the key when
/// `texts` is null or has none for it.
[[nodiscard]] std::string ResolveMessage(const InterfaceTextDB* texts, const Zef::PString& key,
                                         std::span<const std::string> parameters = {});
