// QuarleProgram: the built program, run on files of a folder of its own.

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "database/AssetRecord.h"
#include "database/MUKAssetIndex.h"
#include "kernel/ByteWriter.h"
#include "tests/support/TestFiles.h"

extern template class nlohmann::basic_json<>;

namespace Test {

nlohmann::json Parsed(const std::string& text);

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;

  nlohmann::json Json() const { return Parsed(out); }
  /// Exactly one line on standard error, as every failure prints it.
  bool HasOneErrorLine() const {
    return std::count(err.begin(), err.end(), '\n') == 1 && err.starts_with("quarle: ");
  }
};

class QuarleProgram : public ::testing::Test {
 protected:
  /// Runs a command in the folder of the files.
  Outcome Shell(const std::string& command) const {
    const std::string line = "cd '" + temp_.Path().string() + "' && " + command + " >.out 2>.err";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read(".out"), Read(".err")};
  }
  /// `arguments` as a shell takes them; `environment` as assignments in front of the command.
  Outcome Run(const std::string& arguments, const std::string& environment = {}) const {
    return Shell(environment + " " QUARLE_PATH " " + arguments);
  }
  /// Runs what has to fail, in one line on standard error that says this.
  Outcome Fail(const std::string& arguments, const std::string& said, int status = 1) const {
    Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_TRUE(outcome.HasOneErrorLine() && outcome.err.find(said) != std::string::npos)
        << arguments << ": " << outcome.err;
    return outcome;
  }
  std::string Read(std::string_view name) const { return ReadWholeFile(temp_ / name); }
  void Write(std::string_view name, std::string_view bytes) const {
    WriteWholeFile(temp_ / name, bytes);
  }
  void Save(std::string_view name, MUKAssetIndex& index) const {
    Write(name, "");
    ASSERT_TRUE(index.Save(temp_ / name));
  }
  void Save(std::string_view name, std::vector<MUKAsset> records) const {
    MUKAssetIndex index;
    for (MUKAsset& record : records) index.Add(std::move(record));
    Save(name, index);
  }

  const TempFolder temp_;
};

inline MUKAsset Asset(int content, std::string_view name) {
  MUKAsset record;
  record.id = PLID(1, content, 0);
  record.name = name;
  record.Set(AssetFlag::BuiltIn, true);
  return record;
}

inline std::string Bytes(const MUKAsset& record) {
  Zef::ByteWriter out;
  AppendRecord(out, record);
  return {reinterpret_cast<const char*>(out.View().data()), out.Size()};
}

/// The stored form of the identifier of Asset(content).
inline std::string IdBytes(int content) { return Bytes(Asset(content, "")).substr(0, 8); }

}  // namespace Test
