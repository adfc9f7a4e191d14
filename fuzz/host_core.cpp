// What every plugin does with an extension that may say anything at any time. Input: events, a byte or a few
// each. The work that is asked for stays within its bounds, and of an extension that has gone no badge stays.
#include "fuzz/require.h"
#include "hosts/core/core.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::array uris{"file:///", "file:///a", "file:///a/b", "file:///a/c", "file:///b", "trash:///a",
                          "",         "x"};
constexpr std::array badges{"sync", "upload", "tovik", "problem", "", "no such badge", "\xff"};

class Input {
  public:
    Input(const uint8_t* bytes, size_t length) : at(bytes), end(bytes + length) {}
    bool isOver() const { return at == end; }
    unsigned next() { return isOver() ? 0 : *at++; }
    template <typename Pool>
    auto of(const Pool& pool) {
        return pool[next() % pool.size()];
    }

  private:
    const uint8_t* at;
    const uint8_t* end;
};

class Host {
  public:
    ~Host() { tsf_core_free(core); }

    void event(Input& input);
    void endOfTheExtension();

  private:
    void badgeAnswers(Input& input, uint64_t call);
    void takeOrders();
    void select(Input& input);

    TsfCore* core = tsf_core_new(nullptr);
    std::array<TsfItem*, uris.size()> items{};
    std::vector<uint64_t> calls;
    uint64_t sequence = 0;
    int64_t now = 0;
};

void Host::takeOrders() {
    TsfOrder order;
    for (int count = 0; tsf_core_next(core, now, &order); ++count) {
        require(count < 1000);
        if (order.kind == TSF_ASK_BADGES) require(order.count <= TSF_MAXIMUM_BATCH);
        if (order.call) calls.push_back(order.call);
    }
    require(tsf_core_wakes(core, now) > now);
    for (int count = 0; TsfItem* item = tsf_core_next_invalid(core); ++count) {
        require(count < 1000);
        static_cast<void>(tsf_item_emblem(item));
    }
}

void Host::badgeAnswers(Input& input, uint64_t call) {
    std::array<TsfAnswer, TSF_MAXIMUM_BATCH> answers;
    const size_t count = input.next();
    for (size_t i = 0; i < std::min(count, answers.size()); ++i)
        answers[i] = {input.of(badges), input.next() % 2 == 0, input.next() % 2 == 0};
    sequence += input.next() % 3;
    tsf_core_badges(core, now, call, input.next() % 4 ? sequence : std::numeric_limits<uint64_t>::max(),
                    answers.data(), count);
}

void Host::select(Input& input) {
    TsfSelection selection;
    tsf_selection_begin(&selection, input.next() % 2 == 0, input.next() % 2 == 0);
    for (unsigned count = input.next() % 8; count > 0; --count)
        tsf_selection_add(&selection, items[input.next() % items.size()]);
    TSyncSelectionClass found = TSYNC_CLASS_NOTHING;
    tsf_selection_class(core, &selection, &found);
}

void Host::event(Input& input) {
    const unsigned kind = input.next() % 16;
    const uint64_t call = calls.empty() || kind == 0 ? input.next() : calls[input.next() % calls.size()];
    const unsigned which = input.next() % uris.size();
    switch (kind) {
    case 1:
        tsf_core_extension_came(core, now);
        break;
    case 2:
        tsf_core_extension_left(core, now);
        break;
    case 3:
        tsf_core_nonsense(core, now, call);
        break;
    case 4:
        tsf_core_directories(core, now, call, uris.data(), input.next() % (uris.size() + 1));
        break;
    case 5:
        tsf_core_menus(core, now, call, input.next());
        break;
    case 6:
    case 0:
        badgeAnswers(input, call);
        break;
    case 7:
        if (tsf_core_heard(core, now, input.next() * 100U))
            tsf_core_directory_changed(core, ++sequence, uris[which]);
        break;
    case 8:
        tsf_core_item_changed(core, ++sequence, uris[which]);
        break;
    case 9:
        tsf_core_menus_changed(core);
        break;
    case 10:
        now += input.next() * 50;
        break;
    case 11:
        if (items[which]) tsf_item_gone(std::exchange(items[which], nullptr));
        break;
    case 12:
        select(input);
        break;
    case 13:
        takeOrders();
        break;
    default:
        if (!items[which]) items[which] = tsf_core_item(core, uris[which]);
        static_cast<void>(tsf_item_emblem(items[which]));
    }
}

// Nothing comes any more: the badges go, and the host is not woken for ever.
void Host::endOfTheExtension() {
    tsf_core_extension_left(core, now);
    for (int turns = 0; turns < 100; ++turns) {
        takeOrders();
        const int64_t wakes = tsf_core_wakes(core, now);
        if (wakes == std::numeric_limits<int64_t>::max()) break;
        require(turns < 99 && wakes > now);
        now = wakes;
    }
    require(tsf_core_state(core) == TSF_ABSENT);
    for (TsfItem* item : items)
        if (item) require(tsf_item_emblem(item) == nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Host host;
    while (!input.isOver())
        host.event(input);
    host.endOfTheExtension();
    return 0;
}
