// The plugin's own costs, without a file manager: 10,000 shown items with an extension that answers at once.
// Memory is what malloc gave out; times are the processor's of the calling thread.
#include "hosts/nautilus-family/badge_keeper.h"
#include "tests/hosts/nautilus-family/FakeExtension.h"
#include "tests/support/PrivateBus.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <malloc.h>
#include <unistd.h>

namespace {

constexpr std::size_t itemCount = 10'000;
constexpr double memoryLimit = 300; // bytes an item
constexpr double callbackLimit = 1; // ms
constexpr double choiceLimit = 50;  // ms; a person has clicked, and feels a tenth of a second

double workedMilliseconds() {
    timespec worked{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &worked);
    return static_cast<double>(worked.tv_sec) * 1e3 + static_cast<double>(worked.tv_nsec) / 1e6;
}

char* uriOf(GObject* file) { return g_strdup(static_cast<const char*>(g_object_get_data(file, "uri"))); }

// Large blocks that malloc maps by themselves included.
std::size_t givenOut() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t invalidated = 0;

void row(const char* what, double value, const char* unit, double limit) {
    std::printf("%-58s %9.3f %s  limit %.0f  %s\n", what, value, unit, limit,
                value <= limit ? "held" : "ABOVE");
}

double classifyAll(TsfBadgeKeeper* keeper, GList* selection) {
    double longest = 0;
    for (int round = 0; round < 20; ++round) {
        const double start = workedMilliseconds();
        TSyncSelectionClass found{};
        const bool isKnown =
            tsf_badge_keeper_selection_class(keeper, selection, TRUE, FALSE, &found) != FALSE;
        longest = std::max(longest, workedMilliseconds() - start);
        if (!isKnown) return -1;
    }
    return longest;
}

// What the turn takes in which a person chooses a command for all of them.
double choose(TsfBadgeKeeper* keeper, GList* selection) {
    const double start = workedMilliseconds();
    GVariantBuilder uris;
    g_variant_builder_init(&uris, G_VARIANT_TYPE_STRING_ARRAY);
    for (GList* at = selection; at != nullptr; at = at->next) {
        char* const uri = uriOf(static_cast<GObject*>(at->data));
        g_variant_builder_add(&uris, "s", uri);
        g_free(uri);
    }
    tsf_badge_keeper_activate(keeper, "TSFP-Exclude", g_variant_builder_end(&uris));
    return workedMilliseconds() - start;
}

} // namespace

int main(int, char** arguments) {
    // The library's own pools would hide what is given out.
    if (::setenv("G_SLICE", "always-malloc", 0) == 0 && ::getenv("TSYNCFINDER_BENCH_AGAIN") == nullptr) {
        ::setenv("TSYNCFINDER_BENCH_AGAIN", "1", 1);
        ::execv("/proc/self/exe", arguments);
    }
    const support::PrivateBus bus;
    const TsfKeeperEvents events{uriOf, [](gpointer, gpointer) { ++invalidated; }, [](gpointer) {}};
    fake::Extension extension(TSYNCFINDER_INTROSPECTION);
    extension.badge = [](const std::string&) { return g_variant_new("(sbb)", "sync", FALSE, FALSE); };
    TsfBadgeKeeper* const keeper = tsf_badge_keeper_new(&events, nullptr);
    const auto look = [&](GObject* file) {
        return tsf_badge_keeper_emblem(keeper, file,
                                       static_cast<const char*>(g_object_get_data(file, "uri")));
    };
    while (tsf_badge_keeper_is_there(keeper) == FALSE)
        g_main_context_iteration(nullptr, TRUE);

    GList* files = nullptr;
    std::size_t bytesOfUris = 0;
    for (std::size_t i = 0; i < itemCount; ++i) {
        char* const uri = g_strdup_printf("file:///home/ana/Cloud/report%%20of%%20week%%20%05zu.txt", i);
        bytesOfUris += std::char_traits<char>::length(uri) + 1;
        auto* const file = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
        g_object_set_data_full(file, "uri", uri, g_free);
        files = g_list_prepend(files, file);
    }
    const std::size_t before = givenOut();
    double longestLook = 0;
    for (GList* at = files; at != nullptr; at = at->next) {
        const double start = workedMilliseconds();
        look(static_cast<GObject*>(at->data));
        longestLook = std::max(longestLook, workedMilliseconds() - start);
    }
    const double waiting = static_cast<double>(givenOut() - before) / itemCount;
    TSyncSelectionClass found{};
    while (extension.asked < itemCount ||
           tsf_badge_keeper_selection_class(keeper, files, TRUE, FALSE, &found) == FALSE)
        g_main_context_iteration(nullptr, TRUE);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    const double known = static_cast<double>(givenOut() - before) / itemCount;
    std::printf("%zu items; a URI of %zu bytes is part of each\n", itemCount, bytesOfUris / itemCount);
    row("memory of a shown item", known, "bytes", memoryLimit);
    row("while its answer is waited for", waiting, "bytes", memoryLimit);
    row("longest question about one file", longestLook, "ms", callbackLimit);
    row("class of a selection of all of them, longest of 20", classifyAll(keeper, files), "ms",
        callbackLimit);
    row("a command chosen on all of them", choose(keeper, files), "ms", choiceLimit);
    tsf_badge_keeper_free(keeper);
    g_list_free_full(files, g_object_unref);
}
