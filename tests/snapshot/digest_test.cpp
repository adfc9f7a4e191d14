#include "snapshot/DSDigest.h"
#include "snapshot/digest/sha1_blocks.h"
#include "snapshot/tree/lookup.h"
#include "tests/snapshot/support.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

namespace {

std::string hex(const uint8_t* digest) {
    std::string text;
    for (int i = 0; i < DSNodeHashLength; i++) {
        text += "0123456789abcdef"[digest[i] >> 4];
        text += "0123456789abcdef"[digest[i] & 15];
    }
    return text;
}

DSNode* add(DSNode* parent, const char* name, int64_t size, int64_t modified, uint8_t type) {
    return DSNodeCreateWithParent(parent, name, size, modified, 99, type);
}

TEST(Digest, CoversMetadata) {
    Tree root = makeRoot();
    DSNode* link = add(root.get(), "l", 3, 1, DSNodeTypeSymlink);
    DSNode* directory = add(root.get(), "d", 4096, 5, DSNodeTypeDirectory);
    DSNode* file = add(root.get(), "a.txt", 12, 1600000000, DSNodeTypeFile);
    DSNode* other = add(directory, "Z", 0, 0, DSNodeTypeOther);
    DSNode* accented = add(directory, "\xc3\xa9", -1, -5, DSNodeTypeFile);

    uint8_t* digest = DSNodeComputeHashes(root.get());
    EXPECT_EQ(digest, root->hash);
    EXPECT_EQ(hex(digest), "d2d0feaf6471ec38bcb4afc264c77cf167caa9fc");
    EXPECT_EQ(hex(directory->hash), "07c5f8882d5c9d4abebf354625ef73f959ee8d0a");
    EXPECT_EQ(hex(file->hash), "494fe2ff2530830cfbdfbbe5f376141de2364bb5");
    EXPECT_EQ(hex(link->hash), "c1c38bd8a80c323cf0c521eb87b421bc4a79454b");
    EXPECT_EQ(hex(accented->hash), "aea3c9facb8ff6d3d30bcc4a5ee2ab1f8a048641");
    EXPECT_EQ(childrenOf(root.get()), (std::vector{file, directory, link}));
    EXPECT_EQ(childrenOf(directory), (std::vector{accented, other}));

    // A directory computed on its own knows its path; a change below shows at every level above.
    EXPECT_EQ(hex(DSNodeComputeHashes(directory)), "07c5f8882d5c9d4abebf354625ef73f959ee8d0a");
    Tree copy(DSNodeCopy(directory));
    EXPECT_EQ(hex(copy->hash), hex(directory->hash));
    accented->size = 0;
    EXPECT_NE(hex(DSNodeComputeHashes(root.get())), "d2d0feaf6471ec38bcb4afc264c77cf167caa9fc");

    Tree all = makeRoot(); // an odd number of messages that are one block of SHA-1, and then longer ones
    std::string digests;
    for (size_t length = 1; length < 130; length++) {
        std::string name(length, 'n');
        DSNode* named = add(all.get(), name.c_str(), 258, -1, DSNodeTypeFile);
        std::string message = std::string(8, '\xFF') + std::string("\2\1\0\0\0\0\0\0", 8) + name;
        const auto* bytes = reinterpret_cast<const uint8_t*>(message.data());
        const uint8_t* expected = SHA1(bytes, message.size(), nullptr);
        EXPECT_EQ(hex(DSNodeComputeHashes(named)), hex(expected)) << length;
        digests.append(reinterpret_cast<const char*>(expected), DSNodeHashLength);
    }
    digests += std::string("\x81\0\0\0\0\0\0\0/", 9); // their number, and the path
    EXPECT_EQ(hex(DSNodeComputeHashes(all.get())),
              hex(SHA1(reinterpret_cast<const uint8_t*>(digests.data()), digests.size(), nullptr)));

    EXPECT_EQ(hex(DSNodeComputeHashes(makeRoot().get())), "872138597c35473177c91c67544c0125f5a5820e");
    Tree unknown(DSNodeCreate("u", 1, 2, 3, 77));
    EXPECT_EQ(hex(DSNodeComputeHashes(unknown.get())), std::string(40, '0'));
}

// FIPS 180-4's own example "abc", and bytes of every value, on both ways.
TEST(Digest, IsTheSameWithAndWithoutInstructions) {
    std::vector<snapshot::DigestPair> ways{snapshot::digestPairPlainly};
    if (snapshot::digestPairByInstructions()) ways.push_back(snapshot::digestPairByInstructions());
    uint8_t blocks[2][snapshot::kBlock] = {{'a', 'b', 'c', 0x80}};
    blocks[0][63] = 24;
    uint8_t first[DSNodeHashLength], second[DSNodeHashLength], expected[DSNodeHashLength];
    for (int round = 0; round < 1000; round++) {
        for (size_t i = 0; i < 55; i++)
            blocks[1][i] = static_cast<uint8_t>(round * 131 + static_cast<int>(i * i) * 7);
        blocks[1][55] = 0x80;
        blocks[1][62] = 1;
        blocks[1][63] = 55 * 8 - 256;
        SHA1(blocks[1], 55, expected);
        for (snapshot::DigestPair way : ways) {
            way(blocks, first, second);
            ASSERT_EQ(hex(first), "a9993e364706816aba3e25717850c26c9cd0d89d");
            ASSERT_EQ(hex(second), hex(expected)) << round;
        }
    }
}

TEST(Digest, FindsFirstInOrder) {
    Tree root = makeRoot();
    for (const char* path : {"/p/q/twin", "/p/twin", "/twin"})
        snapshot::_find(path, root.get(), 1, DSNodeTypeFile);
    DSNode* deep = DSNodeFindWithFullPath("/p/q/twin", root.get());
    uint8_t wanted[DSNodeHashLength];
    memcpy(wanted, DSNodeComputeHashes(deep), sizeof(wanted));
    EXPECT_EQ(DSNodeFindNodeWithHash(root.get(), wanted, 1), deep);
    EXPECT_EQ(DSNodeFindNodeWithHash(root.get(), wanted, 0), DSNodeFindWithFullPath("/twin", root.get()));
    EXPECT_EQ(DSNodeFindNodeWithHash(deep, wanted, 1), nullptr);
    EXPECT_EQ(DSNodeFindNodeWithHash(nullptr, wanted, 1), nullptr);
    EXPECT_EQ(root->hash, nullptr); // only what the search met was computed
}

TEST(Digest, OfFileContent) {
    support::TemporaryFolder directory;
    char digits[41] = "untouched";
    EXPECT_EQ(SHA1ForFileAtPath(directory.path("none").c_str(), digits), -0x76);
    EXPECT_EQ(SHA1ForFileAtPath(directory.path().c_str(), digits), -0x76);
    EXPECT_STREQ(digits, "untouched");
    directory.write("million", std::string(1'000'000, 'a'));
    EXPECT_EQ(SHA1ForFileAtPath(directory.path("million").c_str(), digits), 0);
    EXPECT_STREQ(digits, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"); // FIPS 180-1, appendix C
}

} // namespace
