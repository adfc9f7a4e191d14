// The least programs that store and load a snapshot, with nothing else: no limits, no odd input, no error but
// an end. Their tree is packed as tightly as the work allows, and never freed. And the plain ways in which
// the same would be written with the C library.
#pragma once

#include <cstdint>
#include <string>

namespace bench {

struct StoredNode {
    int64_t size;
    int64_t modified;
    int64_t started;
    StoredNode* children; // side by side
    const char* name;
    uint32_t count;
    uint16_t nameLength;
    uint16_t type;
};

// The file is mapped; a hand-written parser builds the tree, whose records must stand in pre-order.
StoredNode* boundLoadFile(const std::string& file);

// One buffer for the whole file, one write.
void boundSaveFile(const StoredNode* root, const std::string& file);

// The three commits of a save: the tables and status 2, the rows, status 1.
void boundSaveDatabase(const StoredNode* root, const std::string& file);

// Steps through the rows and touches each value. Returns something that depends on them.
int64_t boundStepDatabase(const std::string& file);

// fprintf for each record.
void plainSaveFile(const StoredNode* root, const std::string& file);

// fscanf for each record, and a map from path to directory. Returns the number of records.
unsigned plainLoadFile(const std::string& file);

} // namespace bench
