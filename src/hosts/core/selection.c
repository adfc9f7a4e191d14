#include "hosts/core/state.h"

void tsf_selection_begin(TsfSelection* selection, bool first_exists, bool first_is_directory) {
    *selection = (TsfSelection){tsyncNoSelection(first_exists, first_is_directory), 0};
}

bool tsf_selection_add(TsfSelection* selection, TsfItem* item) {
    TSyncSelectionFacts* facts = &selection->facts;
    if (item != NULL && !item->is_known && item->place == 0) tsf_item_want(item);
    if (item == NULL) {
        if (facts->count == 0) facts->firstExists = false; /* it has no path */
        tsyncSelect(facts, false, false);
    } else if (item->is_known) {
        tsyncSelect(facts, item->is_in_sync, item->is_root);
    } else {
        ++facts->count;
        ++selection->unknown;
    }
    return !tsyncOffersNothing(facts) && selection->unknown < TSF_MAXIMUM_UNKNOWN;
}

bool tsf_selection_class(TsfCore* core, const TsfSelection* selection, TSyncSelectionClass* found) {
    *found = tsyncSelectionClass(&selection->facts);
    if (selection->unknown == 0 || tsyncOffersNothing(&selection->facts)) return true;
    core->menu_waits = true;
    return false;
}
