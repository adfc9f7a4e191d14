#include "snapshot/scan/KnownQuestions.h"

#include "snapshot/tree/cxx.h"
#include "snapshot/tree/list_private.h"

namespace snapshot {

void KnownQuestions::Run::mayDiffer(size_t record, size_t above) {
    differing.push_back(record);
    for (size_t at = above; !directories[at].mayDiffer; at = directories[at].above) {
        directories[at].mayDiffer = true;
        differing.push_back(directories[at].record);
    }
}

void KnownQuestions::Run::isAskedAbout(size_t directory, DSNode* node, size_t pathLength, bool isAsBefore) {
    directories[directory].node = node;
    directories[directory].pathLength = static_cast<uint32_t>(pathLength);
    directories[directory].isAsBefore = isAsBefore;
}

KnownQuestions::KnownQuestions(const DSEvidence& evidence, DSNode* root, size_t topLength,
                               bool rootIsAsBefore, bool structureOnly)
    : _records(evidence.records), _structureOnly(structureOnly) {
    _levels.push_back({{.node = root,
                        .record = 0,
                        .end = _records.size(),
                        .position = 0,
                        .above = 0,
                        .pathLength = static_cast<uint32_t>(topLength),
                        .isAsBefore = rootIsAsBefore},
                       0,
                       0,
                       0});
}

bool KnownQuestions::take(size_t count, Run& run) {
    run.directories.clear();
    run.questions.clear();
    run.differing.clear();
    enter(run);
    while (run.questions.size() < count && _next < _records.size())
        addNext(run);
    for (const Level& level : _levels)
        run.directories[level.inRun].below = static_cast<uint32_t>(run.questions.size()) - level.before;
    return !run.questions.empty();
}

// The directories that lead to the next record.
void KnownQuestions::enter(Run& run) {
    while (_levels.size() > 1 && _next == _levels.back().directory.end)
        _levels.pop_back();
    for (size_t i = 0; i < _levels.size(); i++) {
        Level& level = _levels[i];
        Directory& directory = level.directory;
        directory.above = static_cast<uint32_t>(i > 0 ? i - 1 : 0);
        if (directory.node == nullptr) {
            const Directory& above = _levels[i - 1].directory;
            DSNode* node = childAt(above.node, directory.position);
            const size_t length = above.pathLength + 1 + node->_nameLength;
            if (length >= DSNodePathCapacity) { // who asked about it has noted that
                _next = directory.end;
                _levels.resize(i);
                return enter(run);
            }
            directory.node = node;
            directory.pathLength = static_cast<uint32_t>(length);
        }
        level.inRun = static_cast<uint32_t>(i);
        level.before = 0;
    }
    for (const Level& level : _levels)
        run.directories.push_back(level.directory);
}

void KnownQuestions::leave(Run& run) {
    const Level& level = _levels.back();
    run.directories[level.inRun].below = static_cast<uint32_t>(run.questions.size()) - level.before;
    _levels.pop_back();
}

void KnownQuestions::addNext(Run& run) {
    while (_next == _levels.back().directory.end)
        leave(run);
    Level& level = _levels.back();
    const EvidenceRecord& known = _records[_next];
    const size_t record = _next++;
    const uint64_t position = level.next++;
    if (!known.isDirectory) {
        if (!_structureOnly) run.questions.push_back({record, position, level.inRun, 0});
        return;
    }
    const auto inRun = static_cast<uint32_t>(run.directories.size());
    run.questions.push_back({record, position, level.inRun, inRun});
    run.directories.push_back({.node = nullptr,
                               .record = record,
                               .end = record + known.count,
                               .position = position,
                               .above = level.inRun});
    if (known.count > 1)
        _levels.push_back({run.directories.back(), 0, inRun, static_cast<uint32_t>(run.questions.size())});
}

void KnownQuestions::isNotAsBefore(const Directory& directory) {
    for (Level& level : _levels)
        if (level.directory.record == directory.record) level.directory.isAsBefore = false;
}

} // namespace snapshot
