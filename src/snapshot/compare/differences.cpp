// The comparison behind DSDifferences.h: a walk that reports at once, or, when moves are looked for, sets
// aside what is in one tree only.
#include "snapshot/DSDifferences.h"
#include "snapshot/compare/TreeWalk.h"
#include "snapshot/compare/moves.h"

namespace snapshot {

namespace {

class Differences {
  public:
    Differences(const DSNode* current, const DSNode* previous, const DSDifferenceOptions& options,
                DSDifferenceCallback callback, void* context)
        : _options(options), _fields(options), _callback(callback), _context(context),
          _current{current, options.currentEvidence, {}}, _previous{previous, options.previousEvidence, {}} {}

    // False when the callback ended it.
    bool run() {
        if (!TreeWalk<Differences>(*this).run(_current.root, _previous.root, true, true)) return false;
        if (_options.moves == 0) return true;
        _current.items.finish();
        _previous.items.finish();
        pairMovedItems(_current, _previous, _fields);
        return tellAdded() && tellDeleted();
    }

    struct Judgement {
        int32_t kind = 0;
        uint32_t fields = 0;
        bool dependsOnContent = false;
        explicit operator bool() const { return kind != 0; }
    };

    Judgement judge(const DSNode* a, const DSNode* b, bool forward, bool backward) {
        if (forward && a != nullptr) _currentRecord++;
        if (backward && b != nullptr) _previousRecord++;
        if (forward && a != nullptr) {
            if (b == nullptr) return {DSDifferenceAdded};
            Judgement judgement{0, _fields.differing(a, b), _fields.dependOnContent(a, b)};
            const bool isLater = a->type != DSNodeTypeDirectory && a->modifiedTime > b->modifiedTime;
            if (_options.laterOnly != 0 ? isLater : judgement.fields != 0 || judgement.dependsOnContent)
                judgement.kind = DSDifferenceModified;
            return judgement;
        }
        if (backward && a == nullptr) return {DSDifferenceDeleted};
        return {};
    }

    bool report(const Judgement& judgement, std::string_view path, const DSNode* a, const DSNode* b) {
        if (_options.moves != 0 && (a == nullptr || b == nullptr)) {
            if (b == nullptr)
                _current.items.add(a, _currentRecord);
            else
                _previous.items.add(b, _previousRecord);
            return true;
        }
        DSDifference difference{judgement.kind, judgement.fields, 0, a, b, path.data(), nullptr};
        if (judgement.dependsOnContent) addContent(difference, path.data());
        const bool isNone =
            difference.kind == DSDifferenceModified && difference.fields == 0 && _options.laterOnly == 0;
        return isNone || tell(difference);
    }

  private:
    bool tell(const DSDifference& difference) { return _callback(&difference, _context) == 0; }

    // Adds the content to the fields if it differs; turns what does not differ otherwise into what is not
    // known if it is not known.
    void addContent(DSDifference& difference, const char* previousPath) const {
        const auto now = _fields.contentOf(difference.current, false, difference.path);
        const auto before = _fields.contentOf(difference.previous, true, previousPath);
        if (now && before) {
            if (*now != *before) difference.fields |= DSFieldContent;
        } else if (difference.fields == 0 && _options.laterOnly == 0) {
            difference.kind = DSDifferenceUnknown;
        }
    }

    bool tellAdded() {
        char path[DSNodePathCapacity];
        char previousPath[DSNodePathCapacity];
        for (uint32_t i = 0; i < _current.items.count(); i++) {
            const LoneItems::Item& item = _current.items[i];
            DSDifference difference{DSDifferenceAdded, 0, 0, item.node, nullptr, nullptr, nullptr};
            const bool isMoved = item.pair != LoneItems::kNone;
            const bool isCarried = isMoved && isCarriedAlong(_current, _previous, i);
            bool dependsOnContent = false;
            if (isMoved) {
                difference.kind = DSDifferenceMoved;
                difference.movedBy = item.movedBy;
                difference.previous = _previous.items[item.pair].node;
                difference.fields = _fields.differing(item.node, difference.previous);
                dependsOnContent = _fields.dependOnContent(item.node, difference.previous);
                if (isCarried && difference.fields == 0 && !dependsOnContent) continue;
                difference.previousPath = pathBelow(_previous.root, difference.previous, previousPath).data();
            }
            difference.path = pathBelow(_current.root, item.node, path).data();
            if (dependsOnContent) addContent(difference, difference.previousPath);
            if (!isCarried && difference.kind == DSDifferenceUnknown) difference.kind = DSDifferenceMoved;
            if (isCarried && difference.kind == DSDifferenceMoved && difference.fields == 0) continue;
            if (!tell(difference)) return false;
        }
        return true;
    }

    bool tellDeleted() {
        char path[DSNodePathCapacity];
        for (uint32_t i = 0; i < _previous.items.count(); i++) {
            const LoneItems::Item& item = _previous.items[i];
            if (item.pair != LoneItems::kNone) continue;
            const char* text = pathBelow(_previous.root, item.node, path).data();
            if (!tell({DSDifferenceDeleted, 0, 0, nullptr, item.node, text, nullptr})) return false;
        }
        return true;
    }

    const DSDifferenceOptions& _options;
    const ItemFields _fields;
    const DSDifferenceCallback _callback;
    void* const _context;
    MoveSide _current;
    MoveSide _previous;
    uint32_t _currentRecord = 0; // positions of the last items that each pass met; the roots are 0
    uint32_t _previousRecord = 0;
};

} // namespace

} // namespace snapshot

int32_t DSNodeEnumerateDifferences(const DSNode* current, const DSNode* previous,
                                   const DSDifferenceOptions* options, DSDifferenceCallback callback,
                                   void* context) noexcept {
    if (options == nullptr || callback == nullptr) return 0;
    return snapshot::Differences(current, previous, *options, callback, context).run() ? 0 : 1;
}
