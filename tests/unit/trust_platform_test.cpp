// What the keyed build takes from the platform: the time that expiries are held to, and CNG.
#include <windows.h>

#include <gtest/gtest.h>

#include <ctime>
#include <iomanip>
#include <regex>
#include <sstream>

#include "log/run_log.h"
#include "tests/support/test_bed.h"
#include "trust/signature_cng.h"
#include "trust/utc_clock.h"

// The test bed's clock runs 14 hours ahead of UTC (tests/wine/prefix.sh): local time cannot pass.
TEST(TrustClock, ExpiriesAreHeldToUtc) {
    EXPECT_EQ(UtcTimeText({.wYear = 2026, .wMonth = 11, .wDay = 5, .wHour = 7, .wMinute = 8, .wSecond = 9}),
              "2026-11-05T07:08:09Z");
    const auto utc = [](std::time_t moment) {
        return (std::ostringstream() << std::put_time(std::gmtime(&moment), "%Y-%m-%dT%H:%M:%SZ")).str();
    };
    const std::time_t before = std::time(nullptr);
    const std::string now = UtcNow();
    EXPECT_TRUE(now == utc(before) || now == utc(std::time(nullptr))) << now << " is not " << utc(before);
}

// Wine's CNG answers every verification with valid or invalid; a key it cannot import shows that
// any other answer of the platform fails closed, and is logged.
TEST(SignatureCng, APlatformFailureIsNoValidSignature) {
    const std::string log = FreshFolder("C:\\qo-tests\\cng") + "\\launcher.log";
    SetLogFilePath(log);
    const unsigned char noPoint[64] = {}, signature[64] = {1};
    EXPECT_FALSE(VerifyP256Signature(noPoint, ComputeSha256("a version file"), signature));
    SetLogFilePath("");
    const std::vector<std::string> lines = LogMessages(log);
    EXPECT_TRUE(lines.size() == 1 && std::regex_match(lines[0], std::regex("version check: BCryptImportKeyPair failed, NTSTATUS=[1-9][0-9]*")))
        << ::testing::PrintToString(lines);
}
