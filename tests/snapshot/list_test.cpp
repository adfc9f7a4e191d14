#include "snapshot/DSList.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> freed;

void noteFreed(void* value) { freed.emplace_back(static_cast<char*>(value)); }
int byText(const void* a, const void* b) {
    return strcmp(static_cast<const char*>(a), static_cast<const char*>(b));
}
void* secondByte(void* value) { return static_cast<char*>(value) + 1; }

// The values, checked to be the same through the array, the links and an iterator.
std::vector<std::string> valuesOf(DSList* list) {
    std::vector<std::string> values;
    const DSListNode* link = list->head;
    DSListIterator* iterator = DSListIteratorCreate(list);
    for (uint64_t i = 0; i < list->count; i++, link = link->next) {
        EXPECT_EQ(list->items[i], link);
        EXPECT_NE(DSListIteratorHasNext(iterator), 0);
        EXPECT_EQ(DSListIteratorNext(iterator), link->value);
        values.emplace_back(static_cast<char*>(link->value));
        if (i + 1 == list->count) {
            EXPECT_EQ(list->tail, link);
        }
    }
    EXPECT_EQ(link, nullptr);
    EXPECT_EQ(DSListIteratorHasNext(iterator), 0);
    DSListIteratorDestroy(iterator);
    return values;
}

TEST(List, KeepsOrderAndIdentity) {
    char a[] = "a", b[] = "b", otherA[] = "a", x[] = "x";
    DSList* list = DSListCreate();
    EXPECT_EQ(list->items, nullptr);
    for (char* value : {a, b, otherA, b, a})
        DSListAppendValue(list, value);
    DSListSetFreeCallback(list, noteFreed);
    for (char* value : {x, b, otherA, a}) // one is not in the list; of two the first goes
        DSListRemoveValue(list, value);
    EXPECT_TRUE(freed.empty());
    EXPECT_EQ(valuesOf(list), (std::vector<std::string>{"b", "a"}));
    DSListAppendValue(list, nullptr); // is kept, and never handed to the callback
    DSListDestroy(list);
    EXPECT_EQ(freed, (std::vector<std::string>{"b", "a"}));
}

TEST(List, SortsAndCopies) {
    char text[][3] = {"cx", "ay", "bz"};
    DSList* list = DSListCreate();
    DSListSort(list, byText);
    for (char* value : text)
        DSListAppendValue(list, value);
    DSListSetFreeCallback(list, noteFreed);
    DSListSort(list, byText);
    EXPECT_EQ(valuesOf(list), (std::vector<std::string>{"ay", "bz", "cx"}));
    list->copyCallback = secondByte;
    DSList* copy = DSListCopy(list);
    EXPECT_EQ(valuesOf(copy), (std::vector<std::string>{"y", "z", "x"}));
    EXPECT_EQ(copy->copyCallback, secondByte);
    EXPECT_EQ(copy->freeCallback, nullptr);
    EXPECT_EQ(DSListCopy(nullptr), nullptr);
    for (char* value : text) // an emptied list works on
        DSListRemoveValue(list, value);
    EXPECT_EQ(list->head, nullptr);
    EXPECT_EQ(list->tail, nullptr);
    DSListAppendValue(list, text[0]);
    EXPECT_EQ(valuesOf(list), (std::vector<std::string>{"cx"}));
    DSListSetFreeCallback(list, nullptr);
    DSListDestroy(list);
    DSListDestroy(copy);
}

} // namespace
