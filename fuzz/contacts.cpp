// A folder with a file of contacts. Input: the file. What reaches the panel is text.
#include "backends/contacts/VCardFolder.h"
#include "fuzz/folder.h"
#include "fuzz/require.h"
#include "platform/utf8.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

class Silence final : public platform::ProcessLog {
  public:
    bool isOn(platform::LogLevel /*level*/) const override { return true; }
    void write(platform::LogLevel /*level*/, std::string_view line) override { require(!line.empty()); }
};

void requireText(const platform::Person& person) {
    std::vector<std::string> texts = person.emails;
    for (const auto& name : {person.firstName, person.lastName})
        if (name) texts.push_back(*name);
    for (const std::string& text : texts)
        require(!text.empty() && platform::isUtf8(text));
}

} // namespace

// The library forgets what it had read of a line that breaks off.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const FuzzFolder folder;
    folder.write(folder.path + "/a.vcf", {reinterpret_cast<const char*>(data), size});
    Silence log;
    for (const platform::Person& person : backends::contacts::VCardFolder(folder.path, log).people())
        requireText(person);
    return 0;
}
