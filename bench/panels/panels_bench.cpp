// The two places where the panels compute while a person waits: the layout of a bar and the completion of a
// keystroke. Each stands beside a lower bound measured in the same run.
#include "jumpbar/VxJumpBar.h"
#include "jumpbar/index_path_helpers.h"
#include "panels/email_entry.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

// Text has a width at once: the measuring is the toolkit's.
struct FlatView final : jumpbar::VxJumpBarView {
    platform::Size sizeOfText(const std::string& text, const jumpbar::TextAttributes&) override {
        return {6.0 * static_cast<double>(text.size()), 14};
    }
    platform::ImageHandle imageNamed(const std::string&) override { return nullptr; }
    void setNeedsDisplay() override {}
    void labelNeedsDisplay(jumpbar::VxJumpBarLabel&) override {}
    void layoutChanged() override {}
    void menuChanged(platform::Menu&) override {}
    void popUpMenu(jumpbar::VxJumpBarLabel&, const platform::MenuHandle&, std::size_t,
                   platform::Point) override {}
};

constexpr std::size_t levels = 12; // deeper than a person's folders are

// A path of twelve folders in a bar too narrow for them: every label is visited twice.
void layoutOfTwelveLabels(benchmark::State& state) {
    FlatView view;
    const platform::MenuHandle root = platform::Menu::create();
    platform::MenuHandle level = root;
    for (std::size_t k = 0; k < levels; ++k) {
        const auto item = level->addItem("Folder number " + std::to_string(k));
        item->image = platform::imageNamed("fldr", {20, 20});
        item->setSubmenu(platform::Menu::create());
        level = item->submenu();
    }
    jumpbar::VxJumpBar bar(view, {0, 0, 600, 30}, root);
    bar.setSelectedIndexPath(platform::indexPath(platform::IndexPath(std::vector<std::size_t>(levels, 0))));
    for (auto _ : state) {
        bar.performLayout();
        benchmark::DoNotOptimize(bar.isUnderIdealWidth());
    }
}
BENCHMARK(layoutOfTwelveLabels);

// Ten thousand contacts, of whom every twentieth begins with what is typed: as many as a large company's.
panels::AddressIndex tenThousandContacts() {
    const std::vector<std::string> names = {"Ann",  "Bob",  "Cem",  "Dora", "Émile", "Finn", "Gül",
                                            "Hans", "Ida",  "John", "Kim",  "Lea",   "Max",  "Nora",
                                            "Otto", "Paul", "Quin", "Rosa", "Sam",   "Tim"};
    panels::AddressIndex index;
    for (int number = 0; number < 10000; ++number) {
        const std::string& first = names[static_cast<std::size_t>(number) % names.size()];
        index["p" + std::to_string(number) + "@example.org"] = first + " Person " + std::to_string(number);
    }
    return index;
}

void completionOfAKeystroke(benchmark::State& state) {
    const panels::AddressIndex index = tenThousandContacts();
    for (auto _ : state)
        benchmark::DoNotOptimize(panels::completionsForSubstring(index, "jo"));
}
BENCHMARK(completionOfAKeystroke)->Unit(benchmark::kMicrosecond);

// The lower bound: going through the index and comparing bytes, without letter case and without a result.
void comparingBytes(benchmark::State& state) {
    const panels::AddressIndex index = tenThousandContacts();
    for (auto _ : state) {
        std::size_t found = 0;
        for (const auto& [address, name] : index)
            if (name.compare(0, 2, "Jo") == 0 || address.compare(0, 2, "Jo") == 0) ++found;
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(comparingBytes)->Unit(benchmark::kMicrosecond);

} // namespace
