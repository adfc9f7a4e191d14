#include "backends/rclone/replies.h"

#include <gtest/gtest.h>

namespace backends::rclone {
namespace {

TEST(RcloneReplies, AreReadWholeOrNotAtAll) {
    const auto list = readList(R"({"list": [
        {"Path":"d/a b","Name":"a b","Size":3,"ModTime":"2026-11-25T08:31:08.514238049Z","IsDir":false,"ID":"x1",
         "Hashes":{"md5":"764efa88","sha1":""}},
        {"Path":"d/g","Name":"g","Size":-1,"ModTime":"2026-11-25T09:31:08+01:00","IsDir":true},
        {"Path":"d/doc","Name":"doc","Size":-1,"ModTime":"1969-12-31T23:59:59.5Z","IsDir":false}]})");
    ASSERT_TRUE(list);
    using Item = service::RemoteItem;
    EXPECT_EQ(*list, (std::vector<Item>{
                         {"a b", Item::Kind::file, 3, 1795595468514238049, "x1", {{"md5", "764efa88"}}},
                         {"g", Item::Kind::folder, 0, 1795595468000000000, "", {}},
                         {"doc", Item::Kind::sizeless, 0, -500000000, "", {}},
                     }));
    EXPECT_TRUE(readList(R"({"list":null})")->empty());
    for (const char* bad :
         {"", "{}", "[]", R"({"list":{}})", R"({"list":[1]})", R"({"list":[[]]})", R"({"list":[null]})",
          R"({"item":[{"Name":"a","Size":1,"ModTime":"2026-11-25T08:31:08Z"}]})", R"([{"list":[]}])",
          R"({"list":[{"Name":"a","Size":1}]})",
          R"({"list":[{"Name":"","Size":1,"ModTime":"2026-11-25T08:31:08Z"}]})",
          R"({"list":[{"Name":"../a","Size":1,"ModTime":"2026-11-25T08:31:08Z"}]})",
          R"({"list":[{"Name":"a","Size":1,"ModTime":"yesterday"}]})",
          R"({"list":[{"Name":"a","Size":1,"ModTime":"2026-11-25T08:31:08Z"})"})
        EXPECT_FALSE(readList(bad)) << bad;
    EXPECT_FALSE(*readItem(R"({"item":null})"));
    EXPECT_FALSE(readItem("{}"));
    EXPECT_FALSE(readItem(R"({"item":[]})"));
    EXPECT_EQ((*readItem(R"({"more":{"Name":"b"},"item":{"Metadata":{"Name":"c"},"Name":"a","IsDir":true,
        "ModTime":"2026-11-25T08:31:08Z"}})"))
                  ->name,
              "a");
    for (const char* bad : {"2026-13-01T00:00:00Z", "2026-02-29T00:00:00Z", "2026-01-01T24:00:00Z",
                            "2026-01-01 00:00:00Z", "2026-01-01T00:00:00", "2026-01-01T00:00:00.Z",
                            "2026-01-01T00:00:00Zx", "-026-01-01T00:00:00Z", "2026-01-01T00:00:00+1:00"})
        EXPECT_FALSE(readTime(bad)) << bad;
    EXPECT_EQ(*readVersion(R"({"decomposed":[1,60,1]})"), (std::vector<int>{1, 60, 1}));
    EXPECT_FALSE(readVersion(R"({"decomposed":[1]})"));
    EXPECT_EQ(readQuota(R"({"free":7,"total":-1})")->free, 7U);
    EXPECT_FALSE(readLink(R"({"url":""})"));

    const auto features =
        readFeatures(R"({"Features":{"Move":true,"SlowHash":true,"CanHaveEmptyDirectories":true},
        "Hashes":["md5"],"Precision":3155760000000000000})");
    ASSERT_TRUE(features);
    EXPECT_TRUE(features->move && features->slowDigests && features->emptyFolders && !features->moveFolder);
    EXPECT_FALSE(features->setsTimes);
}

TEST(RcloneReplies, ErrorsAreKindsToActOn) {
    using service::Trouble;
    const struct {
        long status;
        const char* text;
        Trouble trouble;
        const char* hint = "";
    } cases[] = {
        {404, "object not found", Trouble::missing},
        {500, "remove /x: no such file or directory", Trouble::missing},
        {500, "sftp: \\\"Permission denied\\\" (SSH_FX_PERMISSION_DENIED)", Trouble::refused},
        {500, "NewFs: couldn't connect SSH: dial tcp 127.0.0.1:1: connect: connection refused",
         Trouble::unreachable},
        {500, "Insufficient Storage: 507", Trouble::full},
        {500, "googleapi: Error 403: The user's Drive storage quota has been exceeded", Trouble::full},
        {500, "optional feature not supported", Trouble::impossible},
        {500, "something new", Trouble::other},
        {500, "Update Create failed: sftp: \\\"Failure\\\" (SSH_FX_FAILURE)", Trouble::other,
         "the server gives no reason; it may be read-only or full: "},
        {500, "x509: certificate has expired or is not yet valid", Trouble::refused,
         "is this machine's clock right? "},
        {500, "ssh: unable to authenticate, attempted methods [none password]", Trouble::refused,
         "the storage refuses the password or key; rclone config changes it: "},
        {500, "ssh: handshake failed: knownhosts: key mismatch", Trouble::refused,
         "the server is not the one that it was, or its key is unknown: "},
    };
    for (const auto& [status, text, trouble, hint] : cases) {
        const auto failure =
            readFailure(status, R"({"error":")" + std::string(text) +
                                    R"(","input":{"fs":":sftp,pass=secret:"},"status":500})");
        EXPECT_EQ(failure.trouble, trouble) << text;
        EXPECT_TRUE(failure.text.starts_with(hint)) << failure.text;
        EXPECT_EQ(failure.text.find("secret"), std::string::npos);
    }
    const auto progress = readProgress(R"({"bytes":9,"transferring":[{"bytes":3,"size":10,"speedAvg":2.5},
        {"bytes":0,"size":5,"speedAvg":1}]})");
    ASSERT_TRUE(progress);
    EXPECT_TRUE(progress->files == 2 && progress->bytes == 3 && progress->size == 15 &&
                progress->bytesPerSecond == 3.5);
    EXPECT_EQ(readFailure(502, "<html>").trouble, Trouble::other);
}

} // namespace
} // namespace backends::rclone
