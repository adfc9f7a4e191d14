// dirsnapshot: the snapshot engine on the command line. Arguments and wiring; commands.h does the work.

#include "apps/completion.h"
#include "apps/dirsnapshot/commands.h"
#include "apps/dirsnapshot/diff.h"
#include "apps/dirsnapshot/looking.h"
#include "apps/dirsnapshot/output.h"
#include "apps/dirsnapshot/size_commands.h"
#include "apps/dirsnapshot/watch.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>

using namespace dirsnapshot_tool;

namespace {

constexpr const char* kAbout = "Directory snapshots: take, list, compare, hash and convert them.";

constexpr const char* kNotes =
    "\nExit code: 0 done, the same, excluded, matches; 1 different, not excluded, no match; 2 trouble, "
    "which\n"
    "standard error explains. A directory, a regular file and a symbolic link are recorded; a named pipe, a\n"
    "socket or a device is not, and counts as not there. Paths are printed byte for byte, but in lines on a\n"
    "terminal each control byte, and each byte that is not UTF-8, is \"?\". In JSON a byte of a path that "
    "is\n"
    "not UTF-8 is \\u0000 and its two hexadecimal digits (\"\\u0000ff\" is the byte FF), which can be "
    "undone,\n"
    "since no path holds a NUL. Times are seconds since 1970-01-01 UTC; types are 1 directory, 2 file,\n"
    "3 symbolic link, 255 other.\n";

constexpr const char* kWhereNotesAre =
    "\nExit codes, and what holds for paths, JSON and kinds of items: dirsnapshot --help\n";

constexpr const char* kReadType = "flat: the file; sync, backup: the file or else the database FILE.db "
                                  "(the default), which may be named itself";
constexpr const char* kWriteType = "flat: the file; sync, backup: the database FILE.db, in which items of "
                                   "earlier saves stay";

constexpr const char* kDigestsInNull = "End each line with a NUL, and escape no name";

// The arguments of all subcommands; each uses its own.
struct Arguments {
    std::string first, second, third;
    std::string path = "/";
    StoreType from, to;
    std::vector<std::string> files;
    bool recursive = false;
    bool noRecursive = false;
    bool structure = false;
    bool json = false;
    Format format = Format::lines; // of a list
    Colouring colouring = Colouring::automatic;
    SizeOptions sizes;
    PictureSize picture;
    bool hidden = false;
    DiffOptions difference;
    WatchOptions watching;
};

class CommandLine {
  public:
    CommandLine() : _app(kAbout, "dirsnapshot") {
        _app.require_subcommand(1);
        _app.set_version_flag("--version", TSYNCFINDER_VERSION);
        _app.footer(kWhereNotesAre); // for the subcommands
        addScan();
        addList();
        addDiff();
        addCount();
        addSize();
        addMap();
        addHash();
        addConvert();
        addExcluded();
        addMatch();
        addSha1();
        addWatch();
        _app.footer(kNotes);
    }

    ExitCode run(int count, char** words) {
        if (apps::asksForCompletions(count, words)) {
            for (const std::string& line : apps::completions(_app, {words + 2, words + count}))
                std::cout << line << '\n';
            return flushOutput() ? kSame : kTrouble;
        }
        if (count > 1 && words[1][0] != '-' && !isCommand(words[1])) {
            complain(words[1], "no such command; see dirsnapshot --help");
            return kTrouble;
        }
        try {
            _app.parse(count, words);
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() == 0) { // help or the version was asked for
                _app.exit(error);
                return flushOutput() ? kSame : kTrouble;
            }
            const auto used = _app.get_subcommands();
            complain(used.empty() ? "usage" : used.front()->get_name(),
                     error.what() + std::string("; see --help"));
            return kTrouble;
        }
        ExitCode code = _command();
        return flushOutput() ? code : kTrouble;
    }

  private:
    bool isCommand(const std::string& word) {
        return !_app.get_subcommands([&](const CLI::App* each) { return each->get_name() == word; }).empty();
    }
    CLI::App* add(const char* name, const char* about, std::function<ExitCode()> command) {
        CLI::App* subcommand = _app.add_subcommand(name, about);
        subcommand->callback([this, command = std::move(command)] { _command = command; });
        return subcommand;
    }
    static void addType(CLI::App* subcommand, const char* option, StoreType& type, const char* about) {
        subcommand->add_option(option, type, about)->check(CLI::IsMember({"flat", "sync", "backup"}));
    }
    void addItemOfSnapshot(CLI::App* subcommand) {
        subcommand->add_option("FILE", _is.first, "The snapshot, or a directory, which is scanned")
            ->required();
        subcommand->add_option("PATH", _is.path, "An item of the snapshot; / is its root")
            ->capture_default_str();
        addType(subcommand, "--type", _is.from, kReadType);
        addLookingOptions(subcommand);
    }
    void addJson(CLI::App* subcommand, const char* about) { subcommand->add_flag("--json", _is.json, about); }

    void addScan() {
        CLI::App* scanning = add("scan", "Take a snapshot of a directory and save it.", [this] {
            const Source target{_is.second, _is.to.empty() ? "flat" : _is.to};
            return _is.third.empty() ? scan(_is.first, target, !_is.noRecursive)
                                     : scanSince(_is.first, target, {_is.third, _is.from}, _is.structure);
        });
        scanning->add_option("DIR", _is.first, "The directory")->required();
        scanning->add_option("-o", _is.second, "Where to save the snapshot")->type_name("FILE")->required();
        addType(scanning, "--type", _is.to, kWriteType);
        CLI::Option* whole =
            scanning->add_flag("--no-recursive", _is.noRecursive, "Only the directory's own entries");
        CLI::Option* since =
            scanning
                ->add_option("--since", _is.third,
                             "Read only the directories that changed since this snapshot of the same "
                             "directory; FILE.evidence, for the next time, is written too. One that is not "
                             "there makes it a whole scan")
                ->type_name("OLD")
                ->excludes(whole);
        scanning
            ->add_flag("--structure", _is.structure,
                       "Look at directories alone: what was added, removed or renamed is found, a file "
                       "that was written in place keeps its old size and times")
            ->needs(since);
        addLookingOptions(scanning);
    }
    void addList() {
        CLI::App* listing = add("ls", "List what a snapshot holds below a directory.", [this] {
            return list({_is.first, _is.from}, _is.path, _is.recursive, _is.format, _is.colouring);
        });
        addItemOfSnapshot(listing);
        listing->add_flag("--recursive", _is.recursive, "Everything below it");
        addFormats(listing, _is.format, "Print [{\"path\",\"type\",\"size\",\"modified\",\"started\"}]",
                   "Print the paths alone, each with a NUL behind it");
        addColouring(listing, _is.colouring);
    }
    void addDiff() {
        CLI::App* comparing = add(
            "diff",
            "Compare two snapshots: A added, M modified, D deleted. Exit code 1 when there "
            "is any of these. An item that is not a directory is modified when its time is later; one that "
            "differs only in size, or whose time went back, is not reported: --fields and --hashes find "
            "these.",
            [this] {
                const Source older{_is.first, _is.from};
                const Source newer{_is.second, _is.from};
                return diff(older, newer, _is.difference);
            });
        comparing->add_option("OLD", _is.first, "The older snapshot, or a directory, which is scanned")
            ->required();
        comparing->add_option("NEW", _is.second, "The newer one")->required();
        addType(comparing, "--type", _is.from, kReadType);
        addLookingOptions(comparing);
        addDiffOptions(comparing, _is.difference);
    }
    void addCount() {
        CLI::App* counting = add(
            "count",
            "Count the files in a directory of a snapshot: its own entries; add --recursive for all below "
            "it.",
            [this] {
                return count({_is.first, _is.from}, _is.path, _is.recursive, _is.hidden, _is.json);
            });
        addItemOfSnapshot(counting);
        counting->add_flag("--recursive", _is.recursive,
                           "Also everything below it; otherwise each folder in it counts as one");
        counting->add_flag("--hidden", _is.hidden, "Also files whose name begins with a dot");
        addJson(counting, "Print {\"count\"}");
    }
    void addSize() {
        CLI::App* sizing =
            add("size", "How many bytes lie below each directory, all files as long as they are.", [this] {
                return size({_is.first, _is.from}, _is.path, _is.sizes, _is.format);
            });
        addItemOfSnapshot(sizing);
        sizing->add_option("--top", _is.sizes.top, "Only the largest N, the largest first")
            ->type_name("N")
            ->check(moreThanZero);
        sizing->add_option("--depth", _is.sizes.depth, "Only so many levels below the item")->type_name("N");
        sizing->add_flag("--files", _is.sizes.files, "Files too, not only directories");
        sizing->add_flag("--bytes", _is.sizes.inBytes, "Print bytes in place of units of 1,024 each");
        addFormats(sizing, _is.format, "Print [{\"path\",\"size\"}], in bytes", "End each line with a NUL");
    }
    void addMap() {
        CLI::App* mapping = add(
            "map", "Draw where the bytes lie: a tree map, each rectangle as large as what is in it.", [this] {
                return map({_is.first, _is.from}, _is.path, _is.second, _is.picture);
            });
        addLookingOptions(mapping);
        mapping->add_option("FILE", _is.first, "The snapshot, or a directory, which is scanned")->required();
        mapping->add_option("OUT.svg", _is.second, "The picture")->required();
        mapping->add_option("PATH", _is.path, "An item of the snapshot; / is its root")
            ->capture_default_str();
        addType(mapping, "--type", _is.from, kReadType);
        const auto addSide = [&](const char* name, int& side) {
            mapping->add_option(name, side, "Pixels")
                ->type_name("N")
                ->check(CLI::Range(100, 10'000))
                ->capture_default_str();
        };
        addSide("--width", _is.picture.width);
        addSide("--height", _is.picture.height);
    }
    void addHash() {
        CLI::App* hashing =
            add("hash", "Digest of an item's metadata, and with it of everything below.", [this] {
                return hash({_is.first, _is.from}, _is.path, _is.recursive, _is.format);
            });
        addItemOfSnapshot(hashing);
        hashing->add_flag("--recursive", _is.recursive, "Also everything below it, sorted by name");
        addFormats(hashing, _is.format, "Print [{\"path\",\"sha1\"}]", kDigestsInNull);
    }
    void addConvert() {
        CLI::App* converting = add("convert", "Store a snapshot in another way.", [this] {
            return convert({_is.first, _is.from}, {_is.second, _is.to});
        });
        converting->add_option("FROM", _is.first, "The snapshot")->required();
        converting->add_option("TO", _is.second, "Where to save it")->required();
        addType(converting, "--from", _is.from, kReadType);
        addType(converting, "--to", _is.to, kWriteType);
        converting->get_option("--from")->required();
        converting->get_option("--to")->required();
    }
    void addExcluded() {
        CLI::App* excluding =
            add("excluded", "Whether changes of an item are never reported: exit code 0 when so, else 1.",
                [this] {
                    return _grandparent->count() == 0 ? excludedPath(_is.first, _is.json)
                                                      : excluded(_is.first, _is.second, _is.third, _is.json);
                });
        excluding
            ->add_option(
                "ITEM", _is.first,
                "The item's absolute path, alone: it and all above it are tested. Or its name, with:")
            ->required();
        CLI::Option* parent = excluding->add_option("PARENT", _is.second, "The name of its directory, or ''");
        _grandparent =
            excluding->add_option("GRANDPARENT", _is.third, "The name of the directory above, or ''");
        parent->needs(_grandparent);
        addJson(excluding, "Print {\"excluded\"}");
    }
    void addMatch() {
        CLI::App* matching = add(
            "match",
            "Whether a path matches a pattern, in which * is any run of bytes: exit code 0 when so, else 1.",
            [this] { return match(_is.first, _is.second, _is.json); });
        matching->add_option("PATTERN", _is.first)->required();
        matching->add_option("PATH", _is.second)->required();
        addJson(matching, "Print {\"match\"}");
    }
    void addSha1() {
        CLI::App* digesting = add("sha1", "SHA-1 of files, as sha1sum prints it.",
                                  [this] { return sha1(_is.files, _is.format); });
        digesting->add_option("FILE", _is.files, "A file; - is standard input")->required();
        addFormats(digesting, _is.format, "Print [{\"path\",\"sha1\"}]", kDigestsInNull);
    }

    void addWatch() {
        CLI::App* watching = add(
            "watch", "Tell what is added, modified, moved or deleted in a directory, as it happens.", [this] {
                return watch(_is.first, {_is.second, _is.from}, _is.watching);
            });
        watching->add_option("DIR", _is.first, "The directory")->required();
        watching->add_option("OLD", _is.second, "A snapshot of it: what differs from that comes first");
        addType(watching, "--type", _is.from, kReadType);
        addLookingOptions(watching);
        addWatchOptions(watching, _is.watching);
    }

    CLI::App _app;
    Arguments _is;
    CLI::Option* _grandparent = nullptr; // of excluded
    std::function<ExitCode()> _command;
};

} // namespace

int main(int count, char** words) {
    try {
        return CommandLine().run(count, words);
    } catch (const std::exception& error) {
        complain("failed", error.what());
        return kTrouble;
    }
}
