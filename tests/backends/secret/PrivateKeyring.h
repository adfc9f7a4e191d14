// A real GNOME keyring on a bus of its own, with a prompter that the test answers. One a process.
#pragma once

#define GCR_API_SUBJECT_TO_CHANGE
#include <gcr/gcr-base.h>
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <unistd.h>

class PrivateKeyring {
  public:
    PrivateKeyring()
        : home(testing::TempDir() + "keyring-" + std::to_string(getpid())),
          bus(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        std::filesystem::create_directory(home);
        std::filesystem::permissions(home, std::filesystem::perms::owner_all);
        g_test_dbus_up(bus);
        prompter = gcr_mock_prompter_start();
    }
    ~PrivateKeyring() {
        stop();
        gcr_mock_prompter_stop();
        stopBus();
        std::filesystem::remove_all(home);
    }
    PrivateKeyring(const PrivateKeyring&) = delete;
    PrivateKeyring& operator=(const PrivateKeyring&) = delete;

    // With the default collection unlocked, or as a new user has it, without one. Returns when it is on the
    // bus.
    void start(bool withDefaultCollection = true) {
        GSubprocessLauncher* launcher = g_subprocess_launcher_new(
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDERR_SILENCE |
                                          G_SUBPROCESS_FLAGS_STDOUT_SILENCE));
        for (const char* variable : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"})
            g_subprocess_launcher_setenv(launcher, variable, home.c_str(), TRUE);
        g_subprocess_launcher_setenv(launcher, "GNOME_KEYRING_TEST_PROMPTER", prompter.c_str(), TRUE);
        daemon = g_subprocess_launcher_spawn(launcher, nullptr, "gnome-keyring-daemon", "--foreground",
                                             "--components=secrets",
                                             withDefaultCollection ? "--unlock" : nullptr, nullptr);
        g_object_unref(launcher);
        ASSERT_NE(daemon, nullptr);
        GOutputStream* password = g_subprocess_get_stdin_pipe(daemon);
        g_output_stream_write_all(password, "master", 6, nullptr, nullptr, nullptr);
        g_output_stream_close(password, nullptr, nullptr);
        ASSERT_TRUE(waitForName());
    }

    void stop() {
        if (!daemon) return;
        g_subprocess_force_exit(daemon);
        g_subprocess_wait(daemon, nullptr, nullptr);
        g_clear_object(&daemon);
    }

    void stopBus() {
        if (bus) g_test_dbus_stop(bus);
        g_clear_object(&bus);
    }

    // The reply of the store as text, "" on an error.
    static std::string call(const char* path, const char* interface, const char* method,
                            const char* arguments) {
        GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        GVariant* reply = g_dbus_connection_call_sync(connection, "org.freedesktop.secrets", path, interface,
                                                      method, g_variant_new_parsed(arguments), nullptr,
                                                      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        g_object_unref(connection);
        if (!reply) return "";
        gchar* printed = g_variant_print(reply, FALSE);
        std::string text = printed;
        g_free(printed);
        g_variant_unref(reply);
        return text;
    }

    static void lock() {
        call("/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "Lock",
             "([objectpath '/org/freedesktop/secrets/collection/login'],)");
    }

  private:
    static bool waitForName() {
        struct Wait {
            GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
            bool appeared = false;
        } wait;
        const guint watch = g_bus_watch_name(
            G_BUS_TYPE_SESSION, "org.freedesktop.secrets", G_BUS_NAME_WATCHER_FLAGS_NONE,
            [](GDBusConnection*, const gchar*, const gchar*, gpointer data) {
                static_cast<Wait*>(data)->appeared = true;
                g_main_loop_quit(static_cast<Wait*>(data)->loop);
            },
            nullptr, &wait, nullptr);
        const guint deadline = g_timeout_add_seconds(
            20,
            [](gpointer data) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(data));
                return G_SOURCE_CONTINUE;
            },
            wait.loop);
        g_main_loop_run(wait.loop);
        g_source_remove(deadline);
        g_bus_unwatch_name(watch);
        g_main_loop_unref(wait.loop);
        return wait.appeared;
    }

    std::string home;
    std::string prompter; // its name on the bus
    GTestDBus* bus;
    GSubprocess* daemon = nullptr;
};
