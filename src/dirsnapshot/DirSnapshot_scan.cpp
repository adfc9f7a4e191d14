// Snapshots of directories as they are now. Apart from the rest, so that a program which only reads snapshots
// carries no scan and loads no library for digests.
#include "dirsnapshot/DirSnapshot.h"

#include <exception>
#include <utility>

namespace dirsnapshot {
namespace {

struct ProgressContext : DSScanProgressContext {
    std::exception_ptr raised; // by the progress function; the engine lets nothing through
};

template <typename T>
T optionOr(const InitializationOptions& options, std::string_view key, T fallback) {
    const auto found = options.find(key);
    const T* value = found != options.end() ? std::get_if<T>(&found->second) : nullptr;
    return value != nullptr ? *value : std::move(fallback);
}

// The list of a scan's patterns; it borrows the strings. Null for no pattern.
using PatternList = std::unique_ptr<DSList, decltype(&DSListDestroy)>;
PatternList listOf(std::vector<std::string>& patterns) {
    PatternList list(patterns.empty() ? nullptr : DSListCreate(), DSListDestroy);
    for (std::string& pattern : patterns)
        DSListAppendValue(list.get(), pattern.data());
    return list;
}

} // namespace

DirSnapshot DirSnapshot::initWithDirectoryPath(const Surroundings& surroundings, const std::string& path) {
    return initWithDirectoryPath(surroundings, path,
                                 InitializationOptions{{DirSnapshotInitializationUseSHA1Key, false}});
}

DirSnapshot DirSnapshot::initWithDirectoryPath(const Surroundings& surroundings, const std::string& path,
                                               std::vector<std::string> excludingPatterns, bool usingSHA1) {
    return initWithDirectoryPath(
        surroundings, path,
        InitializationOptions{{DirSnapshotInitializationUseSHA1Key, usingSHA1},
                              {DirSnapshotInitializationExcludingPatternsKey, std::move(excludingPatterns)}});
}

DirSnapshot DirSnapshot::initWithDirectoryPath(const Surroundings& surroundings, const std::string& path,
                                               const InitializationOptions& options) {
    using Patterns = std::vector<std::string>;
    DirSnapshot snapshot(surroundings);
    snapshot._path = path;
    snapshot._block = optionOr<ProgressBlock>(options, DirSnapshotInitializationProgressBlockKey, {});
    snapshot._usesSHA1 = optionOr(options, DirSnapshotInitializationUseSHA1Key, false);
    auto excluding = optionOr<Patterns>(options, DirSnapshotInitializationExcludingPatternsKey, {});
    auto including = optionOr<Patterns>(options, DirSnapshotInitializationIncludingPatternsKey, {});
    const PatternList excludingList = listOf(excluding);
    const PatternList includingList = listOf(including);
    ProgressContext context;
    context.owner = &snapshot;
    context.currentPath = nullptr;
    DSSnapshotOptions scan{};
    scan.excludingPatterns = excludingList.get();
    scan.includingPatterns = includingList.get();
    scan.useSHA1 = snapshot._usesSHA1 ? 1 : 0;
    scan.callback = helperCallback;
    scan.callbackContext = static_cast<DSScanProgressContext*>(&context);
    scan.recursive = optionOr(options, DirSnapshotInitializationNoRecursive, false) ? 0 : 1;
    snapshot._root.reset(DSNodeCreateDirectorySnapshotWithOptions(path.c_str(), &scan));
    if (context.raised) std::rethrow_exception(context.raised);
    return snapshot;
}

std::int32_t DirSnapshot::helperCallback(void* scanContext) {
    auto* context = static_cast<ProgressContext*>(static_cast<DSScanProgressContext*>(scanContext));
    if (context->raised) return 1;
    auto* owner = static_cast<DirSnapshot*>(context->owner);
    ++owner->_scanTotalFileNumber;
    if (!owner->_block) return 0;
    try {
        return owner->_block(context->currentPath) ? 1 : 0;
    } catch (...) {
        context->raised = std::current_exception();
        return 1;
    }
}

DirSnapshot DirSnapshot::directorySnapshotWithDirectoryPath(const Surroundings& surroundings,
                                                            const std::string& path,
                                                            std::vector<std::string> excludingPatterns) {
    return initWithDirectoryPath(surroundings, path, std::move(excludingPatterns));
}

} // namespace dirsnapshot
