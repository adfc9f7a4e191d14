#include "apps/dirsnapshot/svg_map.h"

#include "apps/dirsnapshot/squarified.h"
#include "apps/dirsnapshot/svg_text.h"
#include "apps/dirsnapshot/totals.h"
#include "snapshot/tree/cxx.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <unordered_map>
#include <vector>

namespace dirsnapshot_tool {

namespace {

constexpr double kLeastArea = 9;    // pixels, of what is drawn
constexpr double kBorder = 2;       // around what lies in a directory
constexpr double kLine = 16;        // the height of a line of text
constexpr double kLeastLabel = 30;  // the width of an item that gets one
constexpr std::size_t kColours = 7; // as many endings are told apart
constexpr std::size_t kLongestEnding = 8;

// The ending of a name in small letters, such as ".jpg"; empty where none is, or one that looks like no kind.
std::string endingOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name.size() - dot - 1 > kLongestEnding) return {};
    std::string ending;
    for (const char letter : name.substr(dot)) {
        if (letter != '.' && isalnum(static_cast<unsigned char>(letter)) == 0) return {};
        ending += static_cast<char>(tolower(static_cast<unsigned char>(letter)));
    }
    return ending.size() > 1 ? ending : std::string();
}

// The endings that take most bytes, the largest first.
class Endings {
  public:
    explicit Endings(const DSNode* top) {
        count(top);
        _most.assign(_totals.begin(), _totals.end());
        const std::size_t kept = std::min(_most.size(), kColours);
        std::partial_sort(_most.begin(), _most.begin() + static_cast<std::ptrdiff_t>(kept), _most.end(),
                          [](const Total& a, const Total& b) {
                              return a.second != b.second ? a.second > b.second : a.first < b.first;
                          });
        _most.resize(kept);
    }
    using Total = std::pair<std::string, double>;
    const std::vector<Total>& most() const { return _most; }
    // Its place among these, or as many as there are colours.
    std::size_t placeOf(std::string_view name) const {
        const std::string ending = endingOf(name);
        for (std::size_t i = 0; !ending.empty() && i < _most.size(); i++)
            if (_most[i].first == ending) return i;
        return kColours;
    }

  private:
    void count(const DSNode* node) {
        if (node->type == DSNodeTypeFile && bytesOf(*node) > 0) {
            const std::string ending = endingOf(node->name);
            if (!ending.empty()) _totals[ending] += static_cast<double>(bytesOf(*node));
        }
        for (uint64_t i = 0; i < node->children->count; i++)
            count(snapshot::childAt(node, i));
    }
    std::unordered_map<std::string, double> _totals;
    std::vector<Total> _most;
};

class Map {
  public:
    Map(FILE* file, const DSNode* top) : _file(file), _endings(top) {}

    void draw(const DSNode* top, const std::string& path, PictureSize size) {
        head(size);
        const double below = size.height - kLine - 2 * kBorder;
        const Rectangle whole{0, 0, static_cast<double>(size.width), below};
        std::string at = path == "/" ? std::string() : path;
        item(top, path, at, whole, 0);
        legend(size.height - kLine);
        fputs("</svg>\n", _file);
    }

  private:
    void head(PictureSize size) {
        fprintf(_file,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" "
                "font-family=\"sans-serif\" font-size=\"11\">\n<style>\n"
                "rect{stroke:#fff;stroke-width:.6}text{fill:#111}\n",
                size.width, size.height, size.width, size.height);
        // The last one is for all other endings.
        constexpr std::array<const char*, kColours + 1> fills = {"#7fb8e6", "#f2b632", "#5cc7a0", "#f08a5b",
                                                                 "#d79fc3", "#f4e66a", "#8f9fe0", "#c9c9c4"};
        for (std::size_t i = 0; i < fills.size(); i++)
            fprintf(_file, ".e%zu{fill:%s}", i, fills[i]);
        fputs(".d0{fill:#4d5966}.d1{fill:#697683}text.d{fill:#fff}\n</style>\n", _file);
    }

    void item(const DSNode* node, std::string_view name, std::string& path, Rectangle at, unsigned depth) {
        const bool isDirectory = node->type == DSNodeTypeDirectory;
        const std::string size = humanSize(bytesOf(*node));
        char kind[4] = {isDirectory ? 'd' : 'e', '0', '\0'};
        kind[1] = static_cast<char>('0' + (isDirectory ? depth % 2 : _endings.placeOf(name)));
        rectangle(at, kind, path.empty() ? "/" : path, size);
        const bool hasLabel = at.width >= kLeastLabel && at.height >= kLine;
        if (hasLabel) {
            const double room = at.width - 2 * kBorder;
            const std::string full = std::string(name).append("  ").append(size);
            text(at.x + kBorder, at.y, room, textWidth(full) <= room ? full : name,
                 isDirectory ? " class=\"d\"" : "");
        }
        if (isDirectory) {
            const double top = hasLabel ? kLine : kBorder;
            contents(node, path,
                     {at.x + kBorder, at.y + top, at.width - 2 * kBorder, at.height - top - kBorder},
                     depth + 1);
        }
    }

    void contents(const DSNode* directory, std::string& path, Rectangle at, unsigned depth) {
        const auto total = static_cast<double>(bytesOf(*directory));
        if (total <= 0 || at.width <= 0 || at.height <= 0) return;
        const double least = kLeastArea / (at.width * at.height) * total;
        std::vector<std::pair<double, const DSNode*>> drawn;
        for (uint64_t i = 0; i < directory->children->count; i++) {
            const DSNode* child = snapshot::childAt(directory, i);
            const auto bytes = static_cast<double>(bytesOf(*child));
            if (bytes > 0 && bytes >= least) drawn.emplace_back(bytes, child);
        }
        std::stable_sort(drawn.begin(), drawn.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        std::vector<double> sizes;
        sizes.reserve(drawn.size());
        for (const auto& [bytes, child] : drawn)
            sizes.push_back(bytes);
        const std::vector<Rectangle> places = squarified(sizes, total, at);
        const std::size_t length = path.size();
        for (std::size_t i = 0; i < drawn.size(); i++) {
            const DSNode* child = drawn[i].second;
            path.append("/").append(child->name);
            item(child, child->name, path, places[i], depth);
            path.resize(length);
        }
    }

    void rectangle(Rectangle at, const char* kind, const std::string& title, const std::string& size) {
        fprintf(_file, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" class=\"%s\">", at.x, at.y,
                std::max(at.width, 0.), std::max(at.height, 0.), kind);
        fprintf(_file, "<title>%s\n%s</title></rect>\n", svgText(title).c_str(), size.c_str());
    }

    void text(double x, double y, double room, std::string_view what, const char* attributes) {
        const std::string fitting = svgText(shortened(what, room));
        if (fitting.empty()) return;
        fprintf(_file, "<text x=\"%.1f\" y=\"%.1f\"%s>%s</text>\n", x, y + kLine - 4, attributes,
                fitting.c_str());
    }

    void legend(double y) {
        double x = kBorder;
        for (std::size_t i = 0; i < _endings.most().size(); i++) {
            const auto& [ending, total] = _endings.most()[i];
            fprintf(_file, "<rect x=\"%.1f\" y=\"%.1f\" width=\"12\" height=\"12\" class=\"e%zu\"/>\n", x, y,
                    i);
            // The sum of sizes from a store may exceed what an integer holds.
            const auto bytes = static_cast<int64_t>(std::min(total, 9e18));
            const std::string label = ending + "  " + humanSize(bytes);
            text(x + 16, y - kBorder, textWidth(label), label, "");
            x += 16 + textWidth(label) + 12;
        }
    }

    FILE* _file;
    Endings _endings;
};

} // namespace

void drawMap(FILE* file, const DSNode* top, const std::string& path, PictureSize size) {
    Map(file, top).draw(top, path, size);
}

} // namespace dirsnapshot_tool
