// ProductRecord: what is remembered of an installation of a product from run to run.
//
// Each installation has a numbered key of the registry (Registry.h), found again by the path of
// its program. The process has one record open, or none: then getters leave their results alone
// and setters do nothing, which is also what setters do where the user may not write. Nothing
// reports failures. docs/product-record.md lists the values.
//
// For the main thread. Every getter reads a file and every setter replaces one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Opens the record whose program is `exePath`, in exactly this spelling; whatever was open is
/// closed. False when there is none.
bool OpenProduct(std::string_view productName, std::string_view productClass,
                 std::string_view exePath);
/// Makes the record of this class and program if it is missing, under the lowest number that is
/// free, and opens it. False, with none open, for an empty path and where it cannot be made.
bool RegisterProduct(std::string_view productName, std::string_view productClass,
                     std::string_view exePath);
/// The same for the running program, whose folder is then set to the current one.
bool RegisterRunningProduct(std::string_view productName, std::string_view productClass);
void CloseProduct();

struct ProductNames {
  std::string productName;
  std::string productClass;
  std::string exePath;
  std::string keyName;  ///< number of the installation
};
/// What the open record was opened by; null when there is none.
const ProductNames* OpenedProduct();

/// Lists the installations of a product and class, by number. Gives the paths of their programs,
/// empty for one without. The list stays for the functions below.
std::vector<std::string> EnumerateProducts(std::string_view productName,
                                           std::string_view productClass);
/// Opens a record of the list; false, with none open, past its end and for one that has gone.
bool SelectProduct(std::size_t index);
/// Deletes from the list and the registry all records whose program is not there to be read. The
/// open record stays open unless it is one of them.
void RemoveDeadProducts();

/// Getters of texts: false, with the text as it was, for a value that is missing or longer than
/// 259 bytes. Setters cut at 259 bytes.
bool GetProductClass(std::string& text);
void SetProductClass(std::string_view text);
bool GetExePath(std::string& text);
void SetExePath(std::string_view text);
bool GetProductInstallPath(std::string& text);
void SetProductInstallPath(std::string_view text);
bool GetProductName(std::string& text);
void SetProductName(std::string_view text);
bool GetProductVersion(std::string& text);
void SetProductVersion(std::string_view text);
/// A code as of Languages.h.
bool GetProductLanguage(std::string& text);
void SetProductLanguage(std::string_view text);

/// Getters of numbers: the default for a value that is missing or longer than 11 bytes, 0 for one
/// that is no number.
std::int32_t GetProductBuild(std::int32_t fallback = 0);
void SetProductBuild(std::int32_t build);
std::int32_t GetAutoSaveDelay(std::int32_t fallback = 0);
void SetAutoSaveDelay(std::int32_t minutes);

/// Getters of switches: the default for a missing value, else whether it is "true".
bool GetAutoSave(bool fallback = false);
void SetAutoSave(bool on);
bool GetDontShowError(bool fallback = false);
void SetDontShowError(bool on);
