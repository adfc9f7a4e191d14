#include "daemon_client/TSyncClient.h"

#include "daemon_client/TSyncClient_shared.h"
#include "daemon_client/sync_path_mapping.h"
#include "protocol/messages.h"
#include "protocol/names.h"

#include <stdexcept>

namespace daemon_client {
namespace {

using platform::IPCError;
using platform::Reply;

constexpr std::chrono::seconds pauseBeforeClosingAgain{2};

const TSyncClient::Surroundings* installed = nullptr;

} // namespace

void TSyncClient::install(const Surroundings& surroundings) {
    installed = new Surroundings(surroundings); // lives as long as the shared client
}

TSyncClient& TSyncClient::sharedInstance() {
    static TSyncClient* const instance = [] {
        if (installed == nullptr)
            throw std::logic_error("the shared TSyncClient was asked for before it was installed");
        return new TSyncClient(*installed);
    }();
    return *instance;
}

TSyncClient::TSyncClient(const Surroundings& surroundings)
    : around(surroundings), shared(std::make_shared<Shared>(around.log)) {
    around.log.info("Initializing TSyncClient ....");
    connect();
}

TSyncClient::~TSyncClient() = default;

void TSyncClient::connect() {
    const std::lock_guard guard(shared->clientLock);
    if (connected) return;
    try {
        _connectionToService = around.connections.initWithServiceName(TSYNC_SERVICE_NAME);
        _connectionToService->resume();
        around.log.info("Connecting TSync XPC! .... ", _connectionToService->remoteObjectProxy());
        constexpr std::string_view message = "allPathsInSync:";
        _connectionToService->send(message, {}, protocol::replyWait(message),
                                   [weak = std::weak_ptr(shared)](const Reply& reply) {
                                       if (const auto living = weak.lock()) living->onAllPathsInSync(reply);
                                   });
        connected = true;
        around.log.info("TSyncClient: daemon connected!");
        if (isBound) observeDeathOfConnection();
    } catch (const IPCError& error) {
        around.log.info("Exception: ", std::string_view(error.what()));
        _connectionToService.reset();
    }
}

bool TSyncClient::connectIfNeeded() {
    if (!connected) connect();
    return connected;
}

bool TSyncClient::daemonIsReady() {
    if (!connectIfNeeded()) return false;
    around.log.info("TSynClinet Daemon is Ready");
    return true;
}

std::shared_ptr<platform::RequestConnection> TSyncClient::currentConnection() const {
    const std::lock_guard guard(shared->clientLock);
    return _connectionToService;
}

void TSyncClient::close() {
    while (connected) {
        try {
            if (const auto connection = currentConnection()) connection->send("close", {});
            invalidateSession();
            return;
        } catch (const IPCError&) {
            around.clock.sleepFor(pauseBeforeClosingAgain);
        }
    }
}

void TSyncClient::invalidateSession() {
    const std::lock_guard guard(shared->clientLock);
    connected = false;
    deathObserver.end();
    if (const auto dropped = std::move(_connectionToService)) {
        try {
            dropped->invalidate();
        } catch (const IPCError&) {
            // It is dropped all the same.
        }
    }
}

std::shared_ptr<const SyncPathTable> TSyncClient::allPathsInSync() const {
    const auto paths = syncPaths();
    return paths ? std::shared_ptr<const SyncPathTable>(paths, &paths->table) : nullptr;
}

std::shared_ptr<const SyncPaths> TSyncClient::syncPaths() const {
    const std::lock_guard guard(shared->clientLock);
    return shared->_cachedSyncPaths;
}

std::optional<platform::Dictionary> TSyncClient::getSyncStatus() {
    if (!connectIfNeeded()) return std::nullopt;
    const std::lock_guard guard(statusLock);
    try {
        const Reply reply = request("getSyncStatus:", {});
        const platform::Dictionary* status = reply.value.dictionary();
        _syncStatus = status != nullptr ? std::optional(*status) : std::nullopt;
    } catch (const IPCError&) {
        // The last status stands.
    }
    return _syncStatus;
}

void TSyncClient::sendIfConnected(std::string_view message, const platform::Array& arguments) {
    if (!connectIfNeeded()) return;
    if (const auto connection = currentConnection()) connection->send(message, arguments);
}

void TSyncClient::pause() { sendIfConnected("pause"); }
void TSyncClient::resume() { sendIfConnected("resumeSync"); }

void TSyncClient::bindTSyncQuenzNotification() {
    {
        const std::lock_guard guard(shared->clientLock);
        if (isBound) return;
        isBound = true;
        observeDeathOfConnection();
    }
    // Without the client lock: the centre calls handlers that take it, and may hold a lock of its own then.
    observers.push_back(around.distributedCenter.addObserver(
        TSYNC_NOTE_SYNC_PATH_ADDED, [this](const auto& notification) { onSyncPathAdded(notification); }));
    observers.push_back(around.distributedCenter.addObserver(
        TSYNC_NOTE_SYNC_PATH_REMOVED, [this](const auto& notification) { onSyncPathRemoved(notification); }));
    observers.push_back(
        around.distributedCenter.addObserver(TSYNC_NOTE_START, [this](const auto&) { connect(); }));
}

// Under the client lock. Each new connection is observed in place of the former one.
void TSyncClient::observeDeathOfConnection() {
    deathObserver = _connectionToService
                        ? around.localCenter.addObserver(platform::NSConnectionDidDieNotification,
                                                         _connectionToService.get(),
                                                         [this] { onSyncQuenzConnectionDies(); })
                        : platform::Subscription();
}

void TSyncClient::onSyncQuenzConnectionDies() {
    connected = false;
    around.distributedCenter.post({TSYNC_NOTE_STOP, std::nullopt, {}});
}

void TSyncClient::onSyncPathAdded(const platform::Notification& notification) {
    const std::string* remotePath = platform::textAt(notification.userInfo, "remotePath");
    const std::string* localPath = platform::textAt(notification.userInfo, "localPath");
    const std::lock_guard guard(shared->clientLock);
    if (!shared->_cachedSyncPaths || remotePath == nullptr) return;
    SyncPathTable table = shared->_cachedSyncPaths->table;
    if (localPath != nullptr)
        table.insert_or_assign(*remotePath, *localPath);
    else
        table.erase(*remotePath);
    shared->_cachedSyncPaths = std::make_shared<const SyncPaths>(std::move(table));
}

void TSyncClient::onSyncPathRemoved(const platform::Notification& notification) {
    const std::string* remotePath = platform::textAt(notification.userInfo, "remotePath");
    const std::lock_guard guard(shared->clientLock);
    if (!shared->_cachedSyncPaths || remotePath == nullptr) return;
    SyncPathTable table = shared->_cachedSyncPaths->table;
    table.erase(*remotePath);
    shared->_cachedSyncPaths = std::make_shared<const SyncPaths>(std::move(table));
}

bool TSyncClient::isPathInSync(std::string_view path, bool& isBasePathOfSync) const {
    return daemon_client::isPathInSync(syncPaths().get(), path, isBasePathOfSync);
}

std::optional<std::string> TSyncClient::remotePathOfLocalSyncPath(std::optional<std::string_view> path) {
    if (!path || !connectIfNeeded()) return std::nullopt;
    const auto table = allPathsInSync();
    return table ? daemon_client::remotePathOfLocalSyncPath(*table, *path) : std::nullopt;
}

std::optional<std::string> TSyncClient::localSyncPathOfRemotePath(std::optional<std::string_view> path) {
    if (!path || !connectIfNeeded()) return std::nullopt;
    const auto table = allPathsInSync();
    return table ? daemon_client::localSyncPathOfRemotePath(*table, *path) : std::nullopt;
}

} // namespace daemon_client
