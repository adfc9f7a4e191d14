// The service with an encrypted configuration of rclone, whose password lies in a real keyring on a bus of
// its own.
#include "tests/backends/secret/PrivateKeyring.h"
#include "tests/support/enter_home.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

using testing::HasSubstr;
using testing::Not;

// Written by rclone 1.60.1 for "[disk]\ntype = local\n" with the password "a word".
constexpr auto encrypted =
    "# Encrypted rclone configuration File\n\nRCLONE_ENCRYPT_V0:\n"
    "9uWP8EVpR2qS2Fvd/Al6TV9mGQTHRSXVuQzyT77DUF09qYl7Imz+ctbng+9cHYly64El2vvq53D79vuPzg==";

TEST(RclonePassword, ComesFromTheDesktopsSecretStore) {
    PrivateKeyring keyring;
    keyring.start();
    const support::TemporaryFolder home;
    support::enterHome(home.path());
    ::setenv("RCLONE_CONFIG", home.path("rclone.conf").c_str(), 1);
    std::ofstream(home / "rclone.conf") << encrypted;
    const std::string program(SERVICE_PROGRAM);
    const std::string setup = program + " setup disk:" + home.path("space");
    support::Result result = support::run(setup);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr("to store it: tsyncquenz password"));
    result = support::run("printf 'another\\n' | " + program + " password");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, HasSubstr("cannot read its configuration with this password"));
    result = support::run("printf 'a word\\n' | " + program + " password");
    EXPECT_EQ(result.status, 0) << result.output;
    result = support::run(setup);
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(result.output, Not(HasSubstr("a word")));

    support::Program service({SERVICE_PROGRAM, "run"});
    EXPECT_TRUE(support::eventually([&] { return support::run(program + " status").status == 0; }));
    EXPECT_THAT(support::run("grep -rl 'a word' " + home.path()).output, testing::IsEmpty());
    EXPECT_EQ(service.end(SIGTERM), 0);
}

} // namespace
