// An immutable list of indexes that leads through a tree: position k is an index in level k+1.
//
// Paths are values; where the identity of a path matters (a bar that is given the same object again), it is
// held by handle.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace platform {

class IndexPath {
  public:
    IndexPath() = default;
    IndexPath(std::initializer_list<std::size_t> indexes) : positions(indexes) {}
    explicit IndexPath(std::vector<std::size_t> indexes) : positions(std::move(indexes)) {}

    std::size_t length() const { return positions.size(); }
    // position < length()
    std::size_t indexAtPosition(std::size_t position) const { return positions[position]; }
    const std::vector<std::size_t>& indexes() const { return positions; }

    friend bool operator==(const IndexPath&, const IndexPath&) = default;

  private:
    std::vector<std::size_t> positions;
};

using IndexPathHandle = std::shared_ptr<const IndexPath>;

inline IndexPathHandle indexPath(IndexPath path) {
    return std::make_shared<const IndexPath>(std::move(path));
}

} // namespace platform
