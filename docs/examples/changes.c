/* What changed in a directory since this was last called for it.
 *
 *     cc changes.c $(pkg-config --cflags --libs dssnapshot) -o changes
 *     ./changes ~/Documents documents.snapshot
 *
 * Takes a snapshot, compares it with the one in the file, prints each difference, and keeps the new snapshot
 * in the file for the next time. Ends with 0 when nothing changed, 1 when something did, 2 after an error. */
#include <snapshot/DSCompare.h>
#include <snapshot/DSFlatFile.h>
#include <snapshot/DSQuickLook.h>

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

/* What a comparison gives is the caller's: the array, and each string in it. */
static void print_and_free(char letter, char** paths, uint64_t count) {
    for (uint64_t i = 0; i < count; i++) {
        printf("%c %s\n", letter, paths[i]);
        free(paths[i]);
    }
    free(paths);
}

/* Whether there is any difference. */
static int compare(const DSNode* current, const DSNode* previous) {
    char **added = NULL, **deleted = NULL, **modified = NULL;
    uint64_t added_count = 0, deleted_count = 0, modified_count = 0;
    DSNodeCompareSnapshots(current, previous, &added, &added_count, &deleted, &deleted_count, &modified,
                           &modified_count);
    print_and_free('A', added, added_count);
    print_and_free('D', deleted, deleted_count);
    print_and_free('M', modified, modified_count);
    return added_count + deleted_count + modified_count > 0;
}

int main(int count, char** words) {
    if (count != 3) {
        fprintf(stderr, "usage: %s DIRECTORY SNAPSHOT-FILE\n", words[0]);
        return 2;
    }
    char* directory = realpath(words[1], NULL); /* a scan takes absolute paths alone */
    if (directory == NULL) {
        perror(words[1]);
        return 2;
    }
    /* A look with the evidence of nothing is a scan; unlike the plain one it tells when a part is missing. */
    DSNode* current = DSNodeCreate("/", 0, 0, 0, DSNodeTypeDirectory);
    DSEvidence* evidence = DSEvidenceCreate();
    int is_whole = evidence != NULL && DSNodeLookAgain(current, evidence, directory, DSQuickLookItems) == 0;
    DSEvidenceDestroy(evidence);
    free(directory);
    if (!is_whole) {
        fprintf(stderr, "%s: only a part could be read\n", words[1]);
        DSNodeDestroy(current);
        return 2;
    }

    /* NULL where there is no such file: then there is nothing to compare with. */
    DSNode* previous = DSNodeLoadSnapshotWithSHA1(words[2], 0);
    int is_different = previous != NULL && compare(current, previous);
    DSNodeDestroy(previous);

    /* A file that cannot be created is no failure to the function, hence the second question. */
    int is_saved = DSNodeSaveSnapshotWithSHA1(current, words[2], 0) == 0 && access(words[2], W_OK) == 0;
    DSNodeDestroy(current); /* the root, and with it all below */
    if (!is_saved) {
        fprintf(stderr, "%s: cannot be written\n", words[2]);
        return 2;
    }
    return is_different;
}
