#include "snapshot/tree/name_order.h"

#include "snapshot/tree/list_private.h"

namespace snapshot {

int _compar(const void* first, const void* second) {
    std::string_view a = nameOf(static_cast<const DSNode*>(first));
    std::string_view b = nameOf(static_cast<const DSNode*>(second));
    if (a == b) return 0;
    return (orderOfNames(a, b) & kListAscendingSigned) != 0 ? -1 : 1;
}

} // namespace snapshot
