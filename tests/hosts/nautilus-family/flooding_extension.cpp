// An extension as a process, sensible but for a flood: 10,000 signals a second that any badge of the folder
// may have changed.
//     flooding_extension INTROSPECTION-FILE FOLDER-URI
// It says "ready" when it is on the bus.
#include "tests/hosts/nautilus-family/FakeExtension.h"

#include <cstdio>
#include <utility>

int main(int count, char** arguments) {
    if (count != 3) return 2;
    fake::Extension extension(arguments[1]);
    std::pair<fake::Extension*, const char*> flooded{&extension, arguments[2]};
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
