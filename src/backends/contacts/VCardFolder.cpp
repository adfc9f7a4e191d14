#include "backends/contacts/VCardFolder.h"

#include "backends/contacts/card.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace backends::contacts {
namespace {

namespace fs = std::filesystem;

bool isLine(std::string_view line, std::string_view upperCase) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
        line.remove_suffix(1);
    return std::equal(line.begin(), line.end(), upperCase.begin(), upperCase.end(),
                      [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
}

// The cards of a file, each from its BEGIN to its END line. The library takes one card a call: of several in
// one text it would read only the first.
std::vector<std::string> cardsIn(std::string_view content) {
    if (content.starts_with("\xEF\xBB\xBF")) content.remove_prefix(3); // a byte order mark
    std::vector<std::string> cards;
    constexpr std::size_t none = std::string_view::npos;
    std::size_t begin = none;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        const std::string_view line = content.substr(at, end - at);
        if (isLine(line, "BEGIN:VCARD")) {
            begin = at;
        } else if (begin != none && isLine(line, "END:VCARD")) {
            cards.emplace_back(content.substr(begin, end - begin));
            begin = none;
        }
        at = end + 1;
    }
    return cards;
}

} // namespace

VCardFolder::VCardFolder(std::string folderPath, platform::ProcessLog& processLog)
    : root(std::move(folderPath)), log(processLog) {}

void VCardFolder::readFile(const std::string& path, std::vector<platform::Person>& everybody) {
    std::error_code error;
    if (const std::uintmax_t size = fs::file_size(path, error); error || size > maximumFileSize) {
        log.error("Contacts file ", path,
                  " is skipped: ", error ? error.message() : std::string("too large"));
        return;
    }
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) {
        log.error("Contacts file ", path, " cannot be read");
        return;
    }
    const std::vector<std::string> cards = cardsIn(content.str());
    if (cards.empty()) log.error("Contacts file ", path, " holds no card");
    for (const std::string& card : cards)
        if (auto person = personOf(card)) everybody.push_back(std::move(*person));
}

std::vector<platform::Person> VCardFolder::people() {
    std::vector<std::string> files;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(root, fs::directory_options::skip_permission_denied, error),
         end;
         !error && entry != end; entry.increment(error)) {
        std::error_code notRegular;
        if (entry->path().extension() == ".vcf" && entry->is_regular_file(notRegular))
            files.push_back(entry->path().string());
    }
    std::sort(files.begin(), files.end());
    std::vector<platform::Person> everybody;
    for (const std::string& file : files)
        readFile(file, everybody);
    return everybody;
}

std::string contactsFolder() {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string(value == nullptr ? "" : value);
    };
    if (std::string given = variable("TSYNCFINDER_CONTACTS"); !given.empty()) return given;
    const std::string home = variable("HOME");
    std::string data = variable("XDG_DATA_HOME");
    if (data.empty()) data = home + "/.local/share";
    std::string folder;
    for (const std::string& candidate : {data + "/contacts", home + "/.contacts", home + "/Contacts"}) {
        folder = candidate;
        std::error_code error;
        if (fs::is_directory(folder, error)) break;
    }
    return folder;
}

} // namespace backends::contacts
