/* A program that uses the library as it is installed: takes a snapshot of a folder, saves and loads it. */
#include <snapshot/DSCompare.h>
#include <snapshot/DSDatabase.h>
#include <snapshot/DSDigest.h>
#include <snapshot/DSExclusion.h>
#include <snapshot/DSFlatFile.h>
#include <snapshot/DSList.h>
#include <snapshot/DSNode.h>
#include <snapshot/DSSnapshot.h>

#include <stdio.h>
#include <stdlib.h>

int main(int count, char** arguments) {
    if (count != 3) return 2;
    DSNode* folder = DSNodeCreateDirectorySnapshot(arguments[1]);
    if (folder == NULL || DSNodeSaveSnapshot(folder, arguments[2]) != 0) return 1;
    DSNode* loaded = DSNodeLoadSnapshot(arguments[2], NULL);
    if (loaded == NULL) return 1;
    printf("%s %lld\n", DSNodeFindWithFullPath("/sub/file", loaded) != NULL ? "found" : "lost",
           (long long)DSNodeTotalSize(loaded));
    DSNodeDestroy(loaded);
    DSNodeDestroy(folder);
    return checkForExclusion("file", "sub", "");
}
