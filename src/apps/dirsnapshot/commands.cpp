#include "apps/dirsnapshot/commands.h"

#include "apps/dirsnapshot/SignalsAfterwards.h"
#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/output.h"
#include "dirsnapshot/DirSnapshot.h"
#include "platform/utf8.h"
#include "snapshot/DSDigest.h"
#include "snapshot/exclusion/scan_utils.h"
#include "snapshot/stores/StoredItems.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace dirsnapshot_tool {

namespace {

ExitCode codeOf(bool complete) { return complete ? kSame : kTrouble; }

// Calls visit(path, node) for everything below a node in the order in which it is stored, or only for its
// children.
template <typename Visit>
void visitBelow(DSNode* node, bool recursive, Visit visit) {
    struct Visitor {
        Visit& visit;
        void enter() {}
        void item(std::string_view path, const DSNode& item) { visit(path, item); }
    } visitor{visit};
    const snapshot::Text path(DSNodeCreateStringWithFullPath(node));
    if (!path) return;
    const std::string prefix = strcmp(path.get(), "/") == 0 ? "" : path.get();
    if (recursive) {
        snapshot::StoredItems<Visitor>(visitor).visitBelow(prefix, node);
        return;
    }
    for (uint64_t i = 0; i < node->children->count; i++) {
        const DSNode* child = snapshot::childAt(node, i);
        visit(prefix + "/" + child->name, *child);
    }
}

void addDigest(Records& records, std::string_view digest, std::string_view name) {
    if (records.areJson())
        records.add(platform::Dictionary{{"path", platform::undoableText(name)}, {"sha1", digest}});
    else
        records.addText(records.areNull() ? std::string(digest).append("  ").append(name)
                                          : digestLine(digest, name));
}

ExitCode answer(const char* key, bool isTrue, const char* yes, const char* no, bool json) {
    if (json)
        printJson(platform::Dictionary{{key, isTrue}});
    else
        puts(isTrue ? yes : no);
    return isTrue ? kSame : kDifferent;
}

} // namespace

ExitCode scan(const std::string& directory, const Source& target, bool recursive) {
    looking().earlier = target.path;
    LoadedTree tree = scanDirectory(directory, recursive);
    if (tree.root == nullptr) return kTrouble;
    const SignalsAfterwards signals;
    bool saved = saveSnapshot(tree.root.get(), target.path, target.type);
    return codeOf(saved && tree.complete);
}

ExitCode scanSince(const std::string& directory, const Source& target, const Source& older,
                   bool structureOnly) {
    snapshot::Evidence evidence;
    LoadedTree tree = lookAgain(directory, older.path, older.type, structureOnly, evidence);
    if (tree.root == nullptr) return kTrouble;
    const SignalsAfterwards signals;
    const bool saved = saveSnapshot(tree.root.get(), target.path, target.type);
    return codeOf(saved && saveEvidence(evidence, target.path) && tree.complete);
}

ExitCode list(const Source& source, const std::string& path, bool recursive, Format format,
              Colouring colouring) {
    LoadedTree tree = scanOrLoad(source.path, source.type);
    if (tree.root == nullptr) return kTrouble;
    DSNode* node = findItem(tree, path);
    if (node == nullptr) return kTrouble;
    Records records(format);
    const LsColors* colours = coloursFor(colouring);
    auto add = [&](std::string_view itemPath, const DSNode& item) {
        if (records.areJson())
            records.add(itemValue(itemPath, item));
        else if (records.areNull())
            records.addText(itemPath);
        else
            records.addText(itemLine(itemPath, item, colours));
    };
    if (node->type != DSNodeTypeDirectory)
        add(pathOf(node), *node);
    else
        visitBelow(node, recursive, add);
    records.finish();
    return codeOf(tree.complete);
}

ExitCode count(const Source& source, const std::string& path, bool recursive, bool hidden, bool json) {
    LoadedTree tree = scanOrLoad(source.path, source.type);
    if (tree.root == nullptr) return kTrouble;
    const DSNode* node = findItem(tree, path);
    if (node == nullptr) return kTrouble;
    const uint64_t files = dirsnapshot::DirSnapshot::_countFilesAtPath(node, recursive, hidden);
    if (json)
        printJson(platform::Dictionary{{"count", files}});
    else
        printf("%llu\n", static_cast<unsigned long long>(files));
    return codeOf(tree.complete);
}

ExitCode hash(const Source& source, const std::string& path, bool recursive, Format format) {
    LoadedTree tree = scanOrLoad(source.path, source.type);
    if (tree.root == nullptr) return kTrouble;
    DSNode* node = findItem(tree, path);
    if (node == nullptr) return kTrouble;
    DSNodeComputeHashes(node);
    Records records(format);
    auto add = [&](std::string_view itemPath, const DSNode& item) {
        addDigest(records, hexDigest(item.hash), itemPath);
    };
    add(pathOf(node), *node);
    if (recursive) visitBelow(node, true, add);
    records.finish();
    return codeOf(tree.complete);
}

ExitCode convert(const Source& from, const Source& to) {
    LoadedTree tree = loadSnapshot(from.path, from.type);
    if (tree.root == nullptr) return kTrouble;
    if (!tree.complete) {
        complain(to.path, "not written, since a part would be missing");
        return kTrouble;
    }
    const SignalsAfterwards signals;
    return codeOf(saveSnapshot(tree.root.get(), to.path, to.type));
}

ExitCode excluded(const std::string& name, const std::string& parent, const std::string& grandparent,
                  bool json) {
    return answer("excluded", checkForExclusion(name.c_str(), parent.c_str(), grandparent.c_str()) != 0,
                  "excluded", "not excluded", json);
}

ExitCode excludedPath(const std::string& path, bool json) {
    if (!path.starts_with('/')) {
        complain(path, "not an absolute path; a name needs its PARENT and GRANDPARENT after it");
        return kTrouble;
    }
    return answer("excluded", dirsnapshot::DirSnapshot::isNodeAtFullPathExcluded(path), "excluded",
                  "not excluded", json);
}

ExitCode match(const std::string& pattern, const std::string& path, bool json) {
    snapshot::CompiledPattern compiled(pattern.c_str());
    if (!compiled.isValid()) {
        complain(pattern, "not a valid pattern");
        return kTrouble;
    }
    return answer("match", compiled.matches(path.c_str()), "match", "no match", json);
}

ExitCode sha1(const std::vector<std::string>& files, Format format) {
    bool complete = true;
    Records records(format);
    for (const std::string& file : files) {
        char digest[2 * DSNodeHashLength + 1];
        errno = 0;
        if (SHA1ForFileAtPath(file == "-" ? "/dev/stdin" : file.c_str(), digest) != 0) {
            complain(file, errno != 0 ? strerror(errno) : "cannot be read");
            complete = false;
        } else {
            addDigest(records, digest, file);
        }
    }
    records.finish();
    return codeOf(complete);
}

} // namespace dirsnapshot_tool
