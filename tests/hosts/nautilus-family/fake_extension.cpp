// An extension that misbehaves, as a process:
//     fake_extension sensible|silent|wrong-types|wrong-count|huge|flood INTROSPECTION-FILE FOLDER-URI
// It says "ready" when it is on the bus. flood: 10,000 signals a second that any badge of the folder may have
// changed, from one that is sensible otherwise.
#include "tests/hosts/nautilus-family/FakeExtension.h"

#include <cstdio>
#include <utility>

int main(int count, char** arguments) {
    if (count != 4) return 2;
    fake::Extension extension(arguments[2]);
    extension.mood = arguments[1];
    std::pair<fake::Extension*, const char*> flooded{&extension, arguments[3]};
    if (extension.mood == "flood")
        g_timeout_add(
            10,
            [](gpointer data) -> gboolean {
                const auto& [sender, folder] = *static_cast<decltype(flooded)*>(data);
                for (int i = 0; i < 100; ++i)
                    sender->emitChanged(folder);
                return G_SOURCE_CONTINUE;
            },
            &flooded);
    std::puts("ready");
    std::fflush(stdout);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
