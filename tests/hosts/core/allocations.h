// The memory that C code of this program asks for with malloc: counted, and refused on demand.
#pragma once

namespace allocations {

long live(); // bytes that were given out and not taken back
void refuseAfter(long count);
bool refuseNoMore(); // whether any was refused

} // namespace allocations
