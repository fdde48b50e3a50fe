// What the keyed build takes from the platform: the time that expiries are held to, and CNG.
#define WIN32_NO_STATUS
#include <windows.h>
#undef WIN32_NO_STATUS
#include <ntstatus.h>

#include <gtest/gtest.h>

#include <ctime>
#include <iomanip>
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

// Any answer but success at any step is no valid signature; all but "invalid signature" are logged. Wine
// fails no call but the import, so the test answers for CNG; the keyed rows hold real success.
TEST(SignatureCng, AnyAnswerButSuccessIsNoValidSignature) {
    static NTSTATUS answers[3];
    const P256Calls calls = {[](BCRYPT_ALG_HANDLE&) { return answers[0]; },
                             [](BCRYPT_ALG_HANDLE, const unsigned char*, BCRYPT_KEY_HANDLE&) { return answers[1]; },
                             [](BCRYPT_KEY_HANDLE, const Sha256Digest&, const unsigned char*) { return answers[2]; }};
    const char* const steps[] = {"BCryptOpenAlgorithmProvider(ECDSA_P256)", "BCryptImportKeyPair", "BCryptVerifySignature"};
    const std::string log = FreshFolder("C:\\qo-tests\\cng") + "\\launcher.log";
    const unsigned char bytes[64] = {};
    std::vector<std::string> logged;
    SetLogFilePath(log);
    for (int step = 0; step < 3; ++step) {
        // An error, a warning and an informational status fail as much as "invalid signature" does.
        for (const NTSTATUS status : {STATUS_INVALID_SIGNATURE, STATUS_INVALID_PARAMETER, STATUS_BUFFER_OVERFLOW, STATUS_OBJECT_NAME_EXISTS}) {
            answers[0] = answers[1] = answers[2] = STATUS_SUCCESS;
            answers[step] = status;
            EXPECT_FALSE(VerifyP256Signature(calls, bytes, ComputeSha256("v"), bytes)) << steps[step] << " " << status;
            if (status != STATUS_INVALID_SIGNATURE) {
                logged.push_back(std::string("version check: ") + steps[step] + " failed, NTSTATUS=" +
                                 std::to_string(static_cast<unsigned long>(status)));
            }
        }
    }
    SetLogFilePath("");
    EXPECT_EQ(LogMessages(log), logged);
}
