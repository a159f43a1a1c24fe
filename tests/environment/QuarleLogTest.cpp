#include "environment/QuarleLog.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/environment/LogLines.h"

namespace {

TEST(QuarleLog, RaisesOnlyWhenTold) {
  const ::Test::LogLines log;
  QuarleLogError("plain %d", 1);
  raiseOnError = true;
  EXPECT_THROW(QuarleLogError("raised %d", 2), QuarleEx);
  raiseOnError = false;
  EXPECT_EQ(log.Count("plain 1") + log.Count("raised 2"), 2);

  std::string text(5003, 'x');
  text.back() = '.';
  try {
    QuarleLogFatal("%s", text.c_str());
  } catch (const QuarleEx& failure) {
    EXPECT_EQ(failure.Message(), text.substr(0, 4095));
    EXPECT_EQ(failure.Reason(), text.substr(0, 255));
  }
  EXPECT_EQ(log.Count(text), 1) << "only the exception is cut";
}

TEST(QuarleLog, PausesDoNotCountAsFrames) {
  const ::Test::LogLines log;
  for (int i = 0; i < 8; ++i) RecordFrameTime(0.125);
  for (const double pause : {0.2, 30.0, -1.0, std::nan("")}) RecordFrameTime(pause);
  QuarleLogEnd();
  EXPECT_EQ(log.Count("QuarleLogEnd> Averaged 8.000000fps over 1.000000sec"), 1);
}

}  // namespace
