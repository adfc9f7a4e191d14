// A real GNOME keyring on a bus of its own, with a prompter that the test answers. One a process.
#pragma once

#define GCR_API_SUBJECT_TO_CHANGE
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <gcr/gcr-base.h>
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

class PrivateKeyring {
  public:
    PrivateKeyring() : bus(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        g_test_dbus_up(bus);
        prompter = gcr_mock_prompter_start();
    }
    ~PrivateKeyring() {
        stop();
        gcr_mock_prompter_stop();
        stopBus();
    }
    PrivateKeyring(const PrivateKeyring&) = delete;
    PrivateKeyring& operator=(const PrivateKeyring&) = delete;

    // With the default collection unlocked, or as a new user has it, without one. Returns when it is on the
    // bus.
    void start(bool withDefaultCollection = true) {
        const std::string command =
            "cd '" + home.path() + "' && export HOME=$PWD XDG_RUNTIME_DIR=$PWD XDG_DATA_HOME=$PWD " +
            "GNOME_KEYRING_TEST_PROMPTER='" + prompter + "' && printf master >password && " +
            "exec gnome-keyring-daemon --foreground --components=secrets " +
            (withDefaultCollection ? "--unlock" : "") + " <password >/dev/null 2>&1";
        daemon.emplace(std::vector<std::string>{"/bin/sh", "-c", command});
        ASSERT_EQ(support::run("gdbus wait --session --timeout 20 org.freedesktop.secrets").status, 0);
    }

    void stop() { daemon.reset(); }

    void stopBus() {
        if (bus) g_test_dbus_stop(bus);
        g_clear_object(&bus);
    }

    // The reply of the store as text, "" on an error.
    static std::string call(const char* path, const char* interface, const char* method,
                            const char* arguments) {
        g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            connection, "org.freedesktop.secrets", path, interface, method, g_variant_new_parsed(arguments),
            nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        g_autofree gchar* printed = reply ? g_variant_print(reply, FALSE) : nullptr;
        return printed ? printed : "";
    }

    static void lock() {
        call("/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "Lock",
             "([objectpath '/org/freedesktop/secrets/collection/login'],)");
    }

  private:
    support::TemporaryFolder home;
    std::string prompter; // its name on the bus
    GTestDBus* bus;
    std::optional<support::Program> daemon;
};
