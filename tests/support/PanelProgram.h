// The panel program as the extension starts it, on a bus of the test's own, with one contact and no display.
#pragma once

#include "backends/posix/ChildProcess.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace support {

class PanelProgram : public testing::Test {
  protected:
    using ChildProcess = backends::posix::ChildProcess;

    support::PrivateBus bus;
    support::TemporaryFolder folder;

    void SetUp() override {
        folder.write("contacts/ann.vcf", "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Lee;Ann;;;\r\nFN:Ann Lee\r\n"
                                         "EMAIL:ann@example.org\r\nEND:VCARD\r\n");
        ::setenv("TSYNCFINDER_CONTACTS", folder.path("contacts").c_str(), 1);
        ::setenv("HOME", folder.path().c_str(), 1);
        ::setenv("LC_ALL", "C.UTF-8", 1);
        ::unsetenv("DISPLAY");
        ::unsetenv("WAYLAND_DISPLAY");
        ::unsetenv("QT_QPA_PLATFORM");
    }

    static std::unique_ptr<ChildProcess> start(const std::string& request) {
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry)
            environment.emplace_back(*entry);
        auto panel = std::make_unique<ChildProcess>(ChildProcess::Start{PANEL_PROGRAM, environment, true});
        EXPECT_TRUE(panel->write(request, bound()));
        return panel;
    }
    static ChildProcess::Deadline bound() { return std::chrono::steady_clock::now() + support::deadline; }
};

} // namespace support
