#include "apps/dirsnapshot/comparing_options.h"
#include "apps/dirsnapshot/diff.h"

#include <CLI/CLI.hpp>

namespace dirsnapshot_tool {

namespace {

void addFieldOptions(CLI::App* comparing, DiffOptions& options, CLI::Option* hashes) {
    comparing
        ->add_flag("--fields", options.byFields,
                   "An item is modified when its type, size or time (mtime) is another one in any way. Two "
                   "directories differ only by what is in them. So do --ignore, --moves and --content")
        ->excludes(hashes);
    addIgnoredFields(comparing, options.ignored)->excludes(hashes);
    comparing
        ->add_flag("--moves", options.moves,
                   "Say what moved: R, and RM when it was modified too, with the old path and the new one. A "
                   "directory takes along what is in it. Known by the inode where both sides have evidence "
                   "(see scan --since), else with --content by content, else by type, size and time when "
                   "only one item on either side has these")
        ->excludes(hashes);
    CLI::Option* content =
        comparing
            ->add_flag("--content", options.contents,
                       "Read the files of a directory that is OLD or NEW, where their sizes leave it open: "
                       "another content counts too")
            ->excludes(hashes);
    comparing
        ->add_option("--resume", options.journal,
                     "Keep the digests of contents in this file as they are found, and read no file again "
                     "that is as it was when its digest was kept. A snapshot's contents are known from it "
                     "too: those of files of NEW, or OLD, with the path, size and time that it says")
        ->type_name("FILE")
        ->needs(content);
}

} // namespace

void addDiffOptions(CLI::App* comparing, DiffOptions& options) {
    addFormats(
        comparing, options.format,
        "Print {\"added\":[],\"deleted\":[],\"modified\":[],\"unchanged\":[]}; with --hashes each item "
        "as {\"path\",\"size\",\"type\"}, and no unchanged ones; where fields are compared a list of "
        "the records of --ndjson: {\"change\",\"path\",\"is\",\"was\",\"fields\",\"from\",\"by\"}",
        "End each path with a NUL in place of a line break; an old path stands before the new one");
    addColouring(comparing, options.colouring);
    CLI::Option* hashes = comparing->add_flag(
        "--hashes", options.byHashes,
        "By digests of names, sizes and times: leaves out what is never reported (see excluded), and "
        "below a deleted directory says nothing more");
    HashOptions& hashOptions = options.hashes;
    comparing
        ->add_option("--base", hashOptions.base,
                     "The directory that the snapshots are of, NEW if that is one: a deleted item that "
                     "is still there is not reported")
        ->type_name("DIR")
        ->needs(hashes);
    comparing->add_flag("--ignore-deleted", hashOptions.ignoreDeleted, "Do not look for deleted items")
        ->needs(hashes);
    addExclusions(
        comparing, hashOptions.exclusions,
        "Leave out the item with this absolute path below the base, or every item of this name, with "
        "all below it; may be repeated")
        ->needs(hashes);
    addFieldOptions(comparing, options, hashes);
}

} // namespace dirsnapshot_tool
