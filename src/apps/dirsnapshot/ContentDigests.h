// Digests of the contents of files for a comparison: asked for one by one, read all together.
#pragma once

#include "apps/dirsnapshot/DigestJournal.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace dirsnapshot_tool {

// A comparison goes twice over its trees: at first nothing is known, and what is asked for is noted; then
// all that is read, and the comparison asks again. One thread asks, and reads by several of its own.
class ContentDigests {
  public:
    // What a tree of the comparison is of.
    struct Side {
        std::string directory; // absolute; of a stored snapshot too
        bool isStored;         // what was in its files is known from the journal, or not at all
    };

    ContentDigests(Side current, Side previous, DigestJournal* journal)
        : _sides{std::move(current), std::move(previous)}, _journal(journal) {}

    // A DSContentCallback; the context is the object.
    static const uint8_t* ask(const DSNode* node, int32_t isPrevious, const char* path, void* context);

    // Reads what was asked for, by as many threads as looking.h says, else by several, and shows how far it
    // is where that is shown. False when a part is not known, after messages.
    bool read();

    // NULL when it was not asked for or is not known.
    const uint8_t* find(const DSNode* node) const;

  private:
    struct Question {
        const DSNode* node;
        int32_t side;
        bool failed = false;
        std::optional<Digest> digest;
    };

    const uint8_t* answerTo(const DSNode* node, int32_t side, const char* path);
    void readAll();
    void readFile(Question& question);

    Side _sides[2];          // current, previous
    DigestJournal* _journal; // or NULL
    bool _isRead = false;
    std::vector<Question> _questions;
    std::atomic<uint64_t> _bytesRead = 0; // or known from the journal
    std::unordered_map<const DSNode*, std::optional<Digest>> _answers;
};

} // namespace dirsnapshot_tool
