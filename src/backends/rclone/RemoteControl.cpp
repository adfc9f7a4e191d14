#include "backends/rclone/RemoteControl.h"

#include "backends/posix/ChildProcess.h"
#include "backends/rclone/PasswordFile.h"
#include "backends/rclone/listening.h"
#include "backends/rclone/replies.h"
#include "platform/json.h"

#include <curl/curl.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace backends::rclone {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t longestReply = std::size_t{1} << 30; // bytes; 100,000 items are 16 MB
constexpr milliseconds askAgain{30};                       // while the child starts
constexpr milliseconds firstPause{500};                    // before a child that failed is started again
constexpr milliseconds longestPause{60000};
// The remote control closes a connection that was idle for a minute; a question on one that is being closed
// would be lost.
constexpr long freshConnection = 30; // seconds
constexpr int manyStarts = 3;
constexpr int cannotRun = 127;   // the status of a program that is not there
constexpr int firstPort = 20000; // below those that the kernel gives to anybody
constexpr int ports = 12000;

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    auto* bytes = reinterpret_cast<unsigned char*>(&number);
    for (std::size_t have = 0; have < sizeof number;) {
        const ssize_t count = ::getrandom(bytes + have, sizeof number - have, 0);
        if (count > 0) have += static_cast<std::size_t>(count);
    }
    return number;
}

std::string randomWord() {
    static constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz234567";
    std::string word;
    for (int part = 0; part < 3; ++part)
        for (std::uint64_t bits = randomNumber(), i = 0; i < 12; ++i, bits >>= 5)
            word += letters[bits & 31];
    return word;
}

struct CurlHandle {
    void operator()(CURL* handle) const { ::curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
};

// One question on its way.
struct Exchange {
    std::uint64_t number = 0;
    std::string command;
    std::string body;
    milliseconds limit{};
    RemoteControl::Answer answer;
    std::unique_ptr<CURL, CurlHandle> handle;
    std::string reply;
};

std::size_t take(char* data, std::size_t size, std::size_t count, void* to) {
    std::string& reply = static_cast<Exchange*>(to)->reply;
    if (reply.size() + size * count > longestReply) return 0; // ends the exchange
    reply.append(data, size * count);
    return size * count;
}

} // namespace

class RemoteControl::Loop {
  public:
    Loop(Settings wanted, platform::ProcessLog& processLog, const platform::Clock& itsClock)
        : settings(std::move(wanted)), log(processLog), clock(itsClock) {
        static const CURLcode prepared = ::curl_global_init(CURL_GLOBAL_DEFAULT);
        multi = prepared == CURLE_OK ? ::curl_multi_init() : nullptr;
        if (!multi) throw std::runtime_error("no HTTP client");
        headers.reset(::curl_slist_append(nullptr, "Content-Type: application/json"));
        headers.reset(::curl_slist_append(headers.release(), "Expect:"));
        thread = std::thread([this] { run(); });
    }
    ~Loop() {
        {
            std::lock_guard guard(lock);
            ending = true;
        }
        ::curl_multi_wakeup(multi);
        thread.join();
        ::curl_multi_cleanup(multi);
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    std::uint64_t ask(std::unique_ptr<Exchange> exchange) {
        std::uint64_t number = 0;
        {
            std::lock_guard guard(lock);
            number = exchange->number = ++lastNumber;
            asked.push_back(std::move(exchange));
        }
        ::curl_multi_wakeup(multi);
        return number;
    }
    void end(std::uint64_t number) {
        {
            std::lock_guard guard(lock);
            ended.push_back(number);
        }
        ::curl_multi_wakeup(multi);
    }
    // Whether it is another one than before.
    bool setBandwidth(const std::string& rate) {
        std::lock_guard guard(lock);
        return std::exchange(bandwidth, rate) != rate;
    }

  private:
    // Everything below happens on the loop's thread, which also starts the child: that dies with it.
    void run() {
        for (;;) {
            if (!takeOrders()) break;
            lookAfterChild();
            if (child && ready) sendWaiting();
            int still = 0;
            ::curl_multi_perform(multi, &still);
            int left = 0;
            bool finished = false;
            while (CURLMsg* const message = ::curl_multi_info_read(multi, &left)) {
                if (message->msg != CURLMSG_DONE) continue;
                finish(message->easy_handle, message->data.result);
                finished = true;
            }
            if (finished) continue; // there is room for the next question
            ::curl_multi_poll(multi, nullptr, 0, patience(), nullptr);
        }
        for (auto& [handle, exchange] : underWay)
            ::curl_multi_remove_handle(multi, handle);
        underWay.clear();
        waiting.clear();
        child.reset();
    }

    bool takeOrders() {
        std::deque<std::unique_ptr<Exchange>> fresh;
        std::vector<std::uint64_t> over;
        {
            std::lock_guard guard(lock);
            if (ending) return false;
            fresh.swap(asked);
            over.swap(ended);
        }
        std::move(fresh.begin(), fresh.end(), std::back_inserter(waiting));
        for (const std::uint64_t number : over) {
            std::erase_if(waiting, [number](const auto& exchange) { return exchange->number == number; });
            const auto found = std::find_if(underWay.begin(), underWay.end(), [number](const auto& entry) {
                return entry.second->number == number;
            });
            if (found == underWay.end()) continue;
            ::curl_multi_remove_handle(multi, found->first);
            underWay.erase(found);
        }
        return true;
    }

    int patience() const {
        constexpr int longest = 24 * 3600 * 1000;
        if (child && !ready) return static_cast<int>(askAgain.count());
        if (child || waiting.empty()) return longest;
        const auto left =
            std::chrono::ceil<milliseconds>(clock.wakeUp(nextStart) - std::chrono::steady_clock::now());
        return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, longestPause.count()));
    }

    void lookAfterChild() {
        if (child && child->hasEnded()) {
            const int status = child->wait();
            log.error("rclone ended with status ", status, "; it is started again when it is needed");
            const bool served = ready;
            dropChild();
            if (!served) notStarted(status);
        }
        if (child && !ready && !greeting && clock.now() > startDeadline) {
            log.error("rclone does not answer and is given up");
            dropChild();
            notStarted(0);
        }
        if (!child && !waiting.empty() && clock.now() >= nextStart) startChild();
        if (child && !ready && !greeting && clock.now() >= nextGreeting) greet();
    }

    // What was under way fails; what waits goes to the next child, after a pause that doubles.
    void dropChild() {
        child.reset();
        ready = false;
        pause = std::clamp(pause * 2, firstPause, longestPause);
        nextStart = clock.now() + pause;
        std::vector<CURL*> handles;
        for (const auto& [handle, exchange] : underWay)
            handles.push_back(handle);
        for (CURL* const handle : handles)
            finish(handle, CURLE_RECV_ERROR);
    }

    // A port may have been taken: it is tried a few times before the waiting questions are told.
    void notStarted(int status) {
        if (++failedStarts < manyStarts && status != cannotRun) return;
        failedStarts = 0;
        failWaiting({service::Trouble::unreachable, "rclone cannot be started"});
    }

    void startChild() {
        port = firstPort + static_cast<int>(randomNumber() % ports);
        user = randomWord();
        password = randomWord();
        posix::ChildProcess::Start start;
        start.program = settings.program;
        start.arguments = {"rcd", "--rc-addr", "127.0.0.1:" + std::to_string(port), "--log-file",
                           "/dev/null", // what it has to say about an error comes with the answer
                           "--rc-server-read-timeout", "720h", "--rc-server-write-timeout", "720h",
                           // It keeps each answer for a minute, for who asks again: nobody does here, and
                           // those of a look at a large pair fill its memory.
                           "--rc-job-expire-duration", "100ms", "--rc-job-expire-interval", "100ms"};
        start.environment = settings.environment;
        {
            std::lock_guard guard(lock);
            start.environment.push_back("RCLONE_BWLIMIT=" + bandwidth);
        }
        start.environment.emplace_back("GOMEMLIMIT=80MiB"); // a third less at a look at 100,000 items
        // Else it makes, at each start, a table for a file browser that nobody opens here: a sixth of the
        // start.
        start.environment.emplace_back("TCELL_MINIMIZE=1");
        // Digests of SFTP cost a login shell each, also for each file that goes into an encrypted storage
        // above it. None is asked for here.
        start.environment.emplace_back("RCLONE_SFTP_DISABLE_HASHCHECK=true");
        try {
            // It checks a name and a password from its environment by a thousand rounds of MD5 at each
            // request.
            const PasswordFile passwords(user, password);
            start.arguments.insert(start.arguments.end(), {"--rc-htpasswd", passwords.path()});
            start.inherited = {passwords.descriptor()};
            child.emplace(start, clock);
        } catch (const std::system_error& error) {
            log.error("rclone cannot be started: ", std::string_view(error.what()));
            dropChild();
            notStarted(cannotRun);
            return;
        }
        startDeadline = clock.now() + settings.startLimit;
        nextGreeting = clock.now();
    }

    // Asks for the version until the child serves.
    void greet() {
        auto exchange = std::make_unique<Exchange>();
        exchange->command = "core/version";
        exchange->body = "{}";
        exchange->limit = milliseconds(5000);
        exchange->answer = [this](const service::Outcome<std::string>& reply) { welcome(reply); };
        greeting = true;
        send(std::move(exchange));
    }

    void welcome(const service::Outcome<std::string>& reply) {
        greeting = false;
        nextGreeting = clock.now() + askAgain;
        if (!child || !reply) return;
        const auto version = readVersion(*reply);
        if (!version) {
            dropChild();
        } else if (*version < std::vector(std::begin(oldestVersion), std::end(oldestVersion))) {
            dropChild();
            nextStart = clock.now() + longestPause;
            failWaiting({service::Trouble::impossible, "this rclone is too old: 1.60 or later is needed"});
        } else {
            ready = true;
            failedStarts = 0;
            pause = milliseconds(0);
        }
    }

    void failWaiting(const service::Failure& failure) {
        std::deque<std::unique_ptr<Exchange>> failed;
        failed.swap(waiting);
        for (const auto& exchange : failed)
            exchange->answer(failure);
    }

    void sendWaiting() {
        while (!waiting.empty() && underWay.size() < settings.questions) {
            auto exchange = std::move(waiting.front());
            waiting.pop_front();
            send(std::move(exchange));
        }
    }

    void send(std::unique_ptr<Exchange> exchange) {
        exchange->handle.reset(::curl_easy_init());
        CURL* const handle = exchange->handle.get();
        const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/" + exchange->command;
        ::curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
        ::curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
        ::curl_easy_setopt(handle, CURLOPT_PROXY, "");
        ::curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        ::curl_easy_setopt(handle, CURLOPT_MAXAGE_CONN, freshConnection);
        ::curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, isOurs);
        ::curl_easy_setopt(handle, CURLOPT_PREREQDATA, handle);
        ::curl_easy_setopt(handle, CURLOPT_USERNAME, user.c_str());
        ::curl_easy_setopt(handle, CURLOPT_PASSWORD, password.c_str());
        ::curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
        ::curl_easy_setopt(handle, CURLOPT_POSTFIELDS, exchange->body.c_str());
        ::curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                           static_cast<curl_off_t>(exchange->body.size()));
        ::curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(exchange->limit.count()));
        ::curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take);
        ::curl_easy_setopt(handle, CURLOPT_WRITEDATA, exchange.get());
        ::curl_multi_add_handle(multi, handle);
        underWay.emplace(handle, std::move(exchange));
    }

    // Before anything is said on a new connection: a program of another user's at that port learns nothing,
    // and is not believed.
    static int isOurs(void* handle, char* /*there*/, char* /*here*/, int port, int /*portHere*/) {
        long connections = 0;
        ::curl_easy_getinfo(static_cast<CURL*>(handle), CURLINFO_NUM_CONNECTS, &connections);
        return connections == 0 || listensHere(port) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    }

    void finish(CURL* handle, CURLcode code) {
        const auto found = underWay.find(handle);
        if (found == underWay.end()) return;
        const std::unique_ptr<Exchange> exchange = std::move(found->second);
        underWay.erase(found);
        long status = 0;
        ::curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        ::curl_multi_remove_handle(multi, handle);
        if (code == CURLE_OPERATION_TIMEDOUT)
            exchange->answer(service::Failure{service::Trouble::unreachable, "no answer in time"});
        else if (code != CURLE_OK)
            exchange->answer(service::Failure{service::Trouble::unreachable, ::curl_easy_strerror(code)});
        else if (status != 200)
            exchange->answer(readFailure(status, exchange->reply));
        else
            exchange->answer(std::move(exchange->reply));
    }

    const Settings settings;
    platform::ProcessLog& log;
    const platform::Clock& clock;
    CURLM* multi = nullptr;
    std::unique_ptr<curl_slist, CurlHandle> headers;

    std::mutex lock; // of the next five
    std::string bandwidth = "off";
    std::deque<std::unique_ptr<Exchange>> asked;
    std::vector<std::uint64_t> ended;
    std::uint64_t lastNumber = 0;
    bool ending = false;

    std::deque<std::unique_ptr<Exchange>> waiting;
    std::map<CURL*, std::unique_ptr<Exchange>> underWay;
    std::optional<posix::ChildProcess> child;
    bool ready = false;    // the child has answered
    bool greeting = false; // it was asked and has not
    int port = 0;
    std::string user;
    std::string password;
    int failedStarts = 0; // one after the other
    milliseconds pause{0};
    platform::Clock::TimePoint nextStart{};
    platform::Clock::TimePoint nextGreeting{};
    platform::Clock::TimePoint startDeadline{};
    std::thread thread; // last: it uses all of the above
};

RemoteControl::RemoteControl(Settings settings, platform::ProcessLog& log, const platform::Clock& clock)
    : loop(std::make_unique<Loop>(std::move(settings), log, clock)) {}

RemoteControl::~RemoteControl() = default;

std::uint64_t RemoteControl::ask(const std::string& command, const platform::Dictionary& arguments,
                                 milliseconds limit, Answer answer) {
    auto exchange = std::make_unique<Exchange>();
    exchange->command = command;
    exchange->limit = limit;
    exchange->answer = std::move(answer);
    auto body = platform::jsonText(arguments);
    if (!body) {
        exchange->answer(service::Failure{service::Trouble::other, "a name that is not UTF-8"});
        return 0;
    }
    exchange->body = std::move(*body);
    return loop->ask(std::move(exchange));
}

void RemoteControl::end(std::uint64_t question) { loop->end(question); }

// A child that is not there yet, or dies now, has it from its start.
void RemoteControl::setBandwidth(const std::string& rate) {
    if (!loop->setBandwidth(rate)) return;
    ask("core/bwlimit", {{"rate", rate}}, milliseconds(10'000), [](const service::Outcome<std::string>&) {});
}

} // namespace backends::rclone
