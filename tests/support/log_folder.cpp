#include "tests/support/log_folder.h"

#include <gtest/gtest.h>

#include "common/names.h"
#include "common/paths.h"
#include "log/run_log.h"
#include "tests/support/test_files.h"

LogFolder::LogFolder() : path_(FreshTestFolder(testing::UnitTest::GetInstance()->current_test_info()->name())) {
    SetLogFilePath(File(LogFileName));
}

LogFolder::~LogFolder() { SetLogFilePath(""); }

std::string LogFolder::File(const std::string& name) const { return JoinPath(path_, name); }

std::vector<std::string> LogFolder::Messages() const { return LogMessages(File(LogFileName)); }
