#include "snapshot/scan/KnownPlace.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace snapshot {

namespace {

// To go to a directory pays when so many items are asked for below it; more or less hardly matters.
constexpr uint32_t kWorthGoing = 24;

} // namespace

KnownPlace::KnownPlace(std::string_view top, bool ownDirectory)
    : _ownDirectory(ownDirectory), _descriptor(AT_FDCWD), _directoryEnd(top.size()), _end(top.size()) {
    memcpy(_path, top.data(), top.size());
    _path[top.size()] = '\0';
}

KnownPlace::~KnownPlace() { leave(); }

void KnownPlace::leave() {
    if (_descriptor >= 0) close(std::exchange(_descriptor, AT_FDCWD));
    _fromEnd = 0;
    _start = 0;
}

void KnownPlace::goTo(const KnownQuestions::Run& run, size_t directory, Asking::Thread* asking) {
    const auto& directories = run.directories;
    _directoryEnd = _end = directories[directory].pathLength;
    size_t end = _end;
    for (size_t at = directory; at != 0 && !directories[at].isAbove(_record); at = directories[at].above) {
        const DSNode* node = directories[at].node;
        end -= node->_nameLength;
        memcpy(_path + end, node->name, node->_nameLength);
        _path[--end] = '/';
    }
    _path[_end] = '\0';
    _record = directories[directory].record;
    if (_fromEnd > 0 && (_record < _from || _record >= _fromEnd)) leave();
    size_t at = directory;
    while (at != 0 && directories[at].below < kWorthGoing)
        at = directories[at].above;
    const bool isWorth = directories[at].below >= kWorthGoing;
    if (isWorth && (_fromEnd == 0 || _from < directories[at].record)) askFrom(directories[at], asking);
}

// It is the one that it went to, or above it.
void KnownPlace::askFrom(const KnownQuestions::Directory& directory, Asking::Thread* asking) {
    const char next = std::exchange(_path[directory.pathLength], '\0');
    if (asking != nullptr) asking->begin({_path, directory.pathLength});
    const char* path = directory.pathLength == 0 ? "/" : _path + _start;
    bool isThere = false;
    if (_ownDirectory) {
        isThere = chdir(path) == 0;
    } else {
        const int descriptor = openat(_descriptor, path, O_PATH | O_DIRECTORY | O_CLOEXEC);
        isThere = descriptor >= 0;
        if (isThere) {
            leave();
            _descriptor = descriptor;
        }
    }
    _path[directory.pathLength] = next;
    if (!isThere) return; // it asks from where it did
    _from = directory.record;
    _fromEnd = directory.end;
    _start = directory.pathLength + 1;
}

bool KnownPlace::set(const DSNode* node) {
    _end = _directoryEnd + 1 + node->_nameLength;
    if (_end >= sizeof _path) return false;
    _path[_directoryEnd] = '/';
    memcpy(_path + _directoryEnd + 1, node->name, node->_nameLength);
    _path[_end] = '\0';
    return true;
}

} // namespace snapshot
