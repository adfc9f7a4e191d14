// The text between the extension and the panel program, against literal JSON, and against the page that
// describes it.
#include "panels/panel_messages.h"
#include "platform/json.h"

#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace panels {
namespace {

// Written again as it was read, or what is wrong with it.
std::string requestAgain(const std::string& text) {
    const auto read = panelRequestOfJson(text);
    if (const auto* problem = std::get_if<std::string>(&read)) return *problem;
    return platform::jsonText(objectOf(std::get<PanelRequest>(read))).value();
}

TEST(PanelMessages, ARequestIsReadAsItIsWritten) {
    const std::pair<PanelRequest, const char*> table[] = {
        {{DestinationRequest{DestinationPurpose::sync, {"/a"}}, "token", "x11:1F"},
         R"({"activationToken":"token","panel":"destination","parentWindow":"x11:1F","paths":["/a"],"sync":true})"},
        {{DestinationRequest{DestinationPurpose::move, {"/a", "/b"}}, {}, {}},
         R"({"mode":"move","panel":"destination","paths":["/a","/b"],"sync":false})"},
        {{DestinationRequest{DestinationPurpose::copy, {"/a"}}, {}, {}},
         R"({"mode":"copy","panel":"destination","paths":["/a"],"sync":false})"},
        {{DestinationRequest{DestinationPurpose::archive, {"/a"}}, {}, {}},
         R"({"panel":"destination","paths":["/a"],"sync":false})"},
        {{ShareRequest{"/d/x", true, {{"/D", "/d"}}}, {}, {}},
         R"({"allPathsInSync":{"/D":"/d"},"isDir":true,"panel":"share","path":"/d/x"})"},
        {{ClipboardRequest{"é"}, {}, {}}, R"({"panel":"clipboard","text":"é"})"},
    };
    for (const auto& [request, text] : table) {
        EXPECT_EQ(platform::jsonText(objectOf(request)), text);
        EXPECT_EQ(requestAgain(text), text);
    }
    const std::pair<const char*, const char*> unusable[] = {
        {"[]", "the request is not a JSON object"},
        {R"({"panel":1})", R"("panel" must be a string)"},
        {R"({"panel":"picture"})", R"("panel" must be destination, share or clipboard)"},
        {R"({"panel":"destination","sync":1,"paths":["/a"]})", R"("sync" must be true or false)"},
        {R"({"panel":"destination","sync":false,"mode":"link","paths":["/a"]})",
         R"("mode" must be move or copy)"},
        {R"({"panel":"destination","sync":true,"paths":[1]})",
         R"("paths" must be an array of at least one string)"},
        {R"({"panel":"share","path":"/a","isDir":true})", R"("allPathsInSync" must be an object of strings)"},
        {R"({"panel":"clipboard","text":"","activationToken":1})", R"("activationToken" must be a string)"},
    };
    for (const auto& [text, problem] : unusable)
        EXPECT_EQ(requestAgain(text), problem) << text;
    for (const auto& [handle, window] : std::initializer_list<std::pair<const char*, unsigned long>>{
             {"x11:1F", 0x1F}, {"wayland:1F", 0}, {"x11:", 0}, {"", 0}})
        EXPECT_EQ((PanelRequest{{}, {}, handle}.parentXWindow()), window) << handle;
}

TEST(PanelMessages, AnAnswerIsReadAsItIsWritten) {
    EXPECT_EQ(lineOf(Shown{}), "{\"shown\":true}\n");
    EXPECT_EQ(lineOf(Refusal{"no\n"}), "{\"error\":\"no\\n\",\"response\":0}\n");
    EXPECT_EQ(PanelLine::ofJson(R"({"error":"no"})")->refusal()->error, "no");

    // What is read of a line: the path, the recipients, and what was done.
    const auto readOf = [](const char* text) {
        const PanelLine line = PanelLine::ofJson(text).value();
        std::string all = line.destination().path.value_or("-");
        for (const std::string& recipient : line.share().recipients)
            all += " " + recipient;
        all += line.share().isSent ? " sent" : "";
        all += line.clipboard().isWritten ? " written" : "";
        return all + (line.isShown() || line.refusal() ? " and is none" : "");
    };
    EXPECT_EQ(readOf(R"({"response":1,"path":"/a"})"), "/a");
    EXPECT_EQ(readOf(R"({"response":7,"recipients":["j@x.org",1],"sent":true})"), "- j@x.org sent");
    EXPECT_EQ(readOf(R"({"response":0,"path":"/a","recipients":["j@x.org"]})"), "-");
    EXPECT_EQ(readOf(R"({"response":true,"path":"/a","sent":1,"written":"true"})"), "-");
    for (const char* none : {"", "[]", "{", "true"})
        EXPECT_FALSE(PanelLine::ofJson(none)) << none;
}

TEST(PanelMessages, ThePageSaysWhatIsWritten) {
    std::ifstream file(PANEL_PROGRAM_PAGE);
    std::ostringstream content;
    content << file.rdbuf();
    const std::string page = content.str();
    const auto value = [](const std::string& text) { return platform::valueOfJson(text).value(); };
    std::size_t requests = 0, answers = 0;
    const std::regex object("`(\\{[^`]*\\})`");
    for (std::sregex_iterator at(page.begin(), page.end(), object), end; at != end; ++at) {
        const std::string text = (*at)[1];
        SCOPED_TRACE(text);
        if (text.find("\"panel\"") != std::string::npos) {
            EXPECT_EQ(value(requestAgain(text)), value(text));
            ++requests;
            continue;
        }
        const PanelLine line = PanelLine::ofJson(text).value();
        const std::string again = line.isShown()                                  ? lineOf(Shown{})
                                  : text.find("\"written\"") != std::string::npos ? lineOf(line.clipboard())
                                  : text.find("\"sent\"") != std::string::npos    ? lineOf(line.share())
                                                                               : lineOf(line.destination());
        EXPECT_EQ(value(again), value(text));
        ++answers;
    }
    EXPECT_EQ(requests, 4U);
    EXPECT_EQ(answers, 6U);
    for (const auto& [status, meaning] : std::initializer_list<std::pair<int, const char*>>{
             {PanelExit::answered, "the panel was shown and answered"},
             {PanelExit::notWritten, "the text could not be put on the clipboard"},
             {PanelExit::unusableRequest, "the request cannot be used"},
             {PanelExit::noDisplay, "there is no display"}})
        EXPECT_THAT(page, testing::HasSubstr("| " + std::to_string(status) + " | " + meaning));
}

} // namespace
} // namespace panels
