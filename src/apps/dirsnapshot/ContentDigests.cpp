#include "apps/dirsnapshot/ContentDigests.h"

#include "apps/dirsnapshot/Progress.h"
#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/output.h"
#include "apps/dirsnapshot/trees.h"
#include "snapshot/digest/file_digest.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <thread>

namespace dirsnapshot_tool {

namespace {

// More than there are processors: a file that is not in the cache is waited for.
constexpr size_t kThreads = 8;

constexpr uint64_t kProgressUnit = 1'000; // bytes

int64_t nanosecondsNow() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

} // namespace

const uint8_t* ContentDigests::ask(const DSNode* node, int32_t isPrevious, const char* path, void* context) {
    return static_cast<ContentDigests*>(context)->answerTo(node, isPrevious, path);
}

const uint8_t* ContentDigests::answerTo(const DSNode* node, int32_t side, const char* path) {
    const auto [answer, isNew] = _answers.try_emplace(node);
    if (isNew && !_sides[side].isStored) _questions.push_back({node, side, false, {}});
    Digest digest;
    if (_isRead && !answer->second && _sides[side].isStored && _journal != nullptr &&
        _journal->find(_sides[side].directory + path, node->size, node->modifiedTime, digest))
        answer->second = digest;
    return answer->second ? answer->second->data() : nullptr;
}

const uint8_t* ContentDigests::find(const DSNode* node) const {
    const auto answer = _answers.find(node);
    return answer != _answers.end() && answer->second ? answer->second->data() : nullptr;
}

void ContentDigests::readAll() {
    uint64_t bytes = 0;
    for (const Question& question : _questions)
        bytes += static_cast<uint64_t>(question.node->size);
    std::optional<Progress> progress;
    if (looking().showsProgress)
        progress.emplace([this] { return _bytesRead / kProgressUnit; }, bytes / kProgressUnit, "kB");
    std::atomic<size_t> next = 0;
    const size_t wanted = looking().threads > 0 ? looking().threads : kThreads;
    std::vector<std::thread> threads(std::min(wanted, _questions.size()));
    for (std::thread& thread : threads)
        thread = std::thread([&] {
            for (size_t i = 0; (i = next++) < _questions.size();)
                readFile(_questions[i]);
        });
    for (std::thread& thread : threads)
        thread.join();
}

bool ContentDigests::read() {
    readAll();
    bool isWhole = true;
    for (const Question& question : _questions) {
        _answers[question.node] = question.digest;
        isWhole = isWhole && !question.failed;
    }
    _questions.clear();
    _isRead = true;
    return isWhole;
}

void ContentDigests::readFile(Question& question) {
    const snapshot::Text path(
        DSNodeCreateStringWithFullPathAndBasePath(question.node, _sides[question.side].directory.c_str()));
    const auto fail = [&](const char* what) {
        complain(path ? path.get() : question.node->name, what);
        question.failed = true;
    };
    struct stat status;
    if (!path) return fail("the path is too long");
    if (lstat(path.get(), &status) != 0) return fail(strerror(errno));
    if (!S_ISREG(status.st_mode)) return fail("not a regular file any more");
    const FileState state(status);
    Digest digest;
    if (_journal != nullptr && _journal->find(state, digest)) {
        question.digest = digest;
        _bytesRead += static_cast<uint64_t>(status.st_size);
        return;
    }
    const int64_t begun = nanosecondsNow();
    char text[2 * DSNodeHashLength + 1];
    errno = 0;
    if (snapshot::sha1ForFileAtPath(path.get(), text, &_bytesRead) != 0)
        return fail(errno != 0 ? strerror(errno) : "cannot be read");
    if (lstat(path.get(), &status) != 0 || FileState(status) != state)
        return fail("changed while it was read");
    digestOfHex(text, digest.data());
    question.digest = digest;
    if (_journal != nullptr && !_journal->add(state, begun, path.get(), digest)) question.failed = true;
}

} // namespace dirsnapshot_tool
