#include "snapshot/scan/Pace.h"

#include <algorithm>
#include <thread>

namespace snapshot {

namespace {

using std::chrono::microseconds;

constexpr auto kAnswerForThread = microseconds(4);
constexpr auto kPiece = microseconds(400);
constexpr size_t kEnoughQuestions = 16;
constexpr auto kEnoughTime = microseconds(2'000);

unsigned fewest() { return std::clamp(std::thread::hardware_concurrency(), 2U, Pace::kMostThreads); }

} // namespace

Pace::Pace(unsigned threads)
    : _isFixed(threads != 0), _fewest(fewest()), _threads(threads != 0 ? threads : _fewest) {}

size_t Pace::piece() const {
    if (_answer <= Duration(0)) return 1;
    return static_cast<size_t>(std::max<int64_t>(kPiece / _answer, 1));
}

void Pace::note(Duration taken, size_t questions) {
    _taken += taken;
    _questions += questions;
    if (_questions < kEnoughQuestions && (_taken < kEnoughTime || _questions == 0)) return;
    _answer = _taken / static_cast<int64_t>(_questions);
    _taken = Duration(0);
    _questions = 0;
    if (_isFixed) return;
    const auto wanted =
        static_cast<unsigned>(std::clamp<int64_t>(_answer / kAnswerForThread, _fewest, kMostThreads));
    if (wanted > _threads || wanted * 2 <= _threads) _threads = wanted;
}

} // namespace snapshot
