#include "backends/dbus/FinderSync1Service.h"

#include "backends/dbus/FinderSync1Signals.h"
#include "backends/dbus/name_owner.h"
#include "backends/dbus/value_coding.h"
#include "protocol/names.h"

namespace backends::dbus {
namespace {

using host_service::HostName;

// How many bytes may wait for a host; above that its calls are passed over.
constexpr std::size_t mostForAnswers = std::size_t{4} << 20;

// A call that asks about more items is refused: whoever shows so many asks in batches.
constexpr std::size_t mostItems = 250'000;

void appendMenuItems(sdbus::Message& message, const platform::Menu& menu) {
    message.openContainer("v");
    for (const platform::MenuItemHandle& item : menu.items()) {
        message.openVariant("(" FINDER_SYNC_MENU_ITEM_FIELDS ")");
        message.openStruct(FINDER_SYNC_MENU_ITEM_FIELDS);
        message << item->title << item->keyEquivalent << item->action
                << (item->image ? item->image->name : std::string()) << item->enabled
                << (item->submenu() != nullptr);
        if (item->submenu()) {
            appendMenuItems(message, *item->submenu());
        } else {
            message.openContainer("v");
            message.closeContainer();
        }
        message.closeStruct();
        message.closeVariant();
    }
    message.closeContainer();
}

std::string nameOf(const extension::BadgeAnswer& answer) {
    if (answer.kind == extension::BadgeAnswer::Kind::unchanged) return FINDER_SYNC_BADGE_UNCHANGED;
    return answer.identifier.empty() ? FINDER_SYNC_BADGE_NONE : std::string(answer.identifier);
}

} // namespace

FinderSync1Service::FinderSync1Service(const Surroundings& surroundings, std::string programVersion)
    : around(surroundings), version(std::move(programVersion)),
      object(sdbus::createObject(around.bus.connection(), FINDER_SYNC_OBJECT_PATH)),
      // In place before the first call comes, so that nobody can leave unseen.
      departures(watchDepartures(around.bus, [this](const std::string& process) {
          if (around.unread.leaves(process)) around.service.hostGone(process);
      })) {
    using Self = FinderSync1Service;
    add(FINDER_SYNC_BADGES_FOR_ITEMS, FINDER_SYNC_BADGES_FOR_ITEMS_IN, {"uris"},
        FINDER_SYNC_BADGES_FOR_ITEMS_OUT, {"sequence", "answers"}, &Self::badgesForItems);
    add(FINDER_SYNC_MENU_FOR_ITEMS, FINDER_SYNC_MENU_FOR_ITEMS_IN, {"kind", "uris"},
        FINDER_SYNC_MENU_FOR_ITEMS_OUT, {"items"}, &Self::menuForItems);
    add(FINDER_SYNC_MENUS_BY_CLASS, "", {}, FINDER_SYNC_MENUS_BY_CLASS_OUT, {"menus"}, &Self::menusByClass);
    add(FINDER_SYNC_ACTIVATE, FINDER_SYNC_ACTIVATE_IN,
        {"item", "uris", "environment", "activationToken", "options"}, FINDER_SYNC_ACTIVATE_OUT, {"number"},
        &Self::activate);
    add(FINDER_SYNC_BEGIN_OBSERVING, FINDER_SYNC_BEGIN_OBSERVING_IN, {"uri"}, "", {}, &Self::beginObserving);
    add(FINDER_SYNC_END_OBSERVING, FINDER_SYNC_END_OBSERVING_IN, {"uri"}, "", {}, &Self::endObserving);
    add(FINDER_SYNC_EXPLAIN, FINDER_SYNC_EXPLAIN_IN, {"uri"}, FINDER_SYNC_EXPLAIN_OUT,
        {"badge", "rule", "root", "file"}, &Self::explain);
    add(FINDER_SYNC_DESCRIBE, FINDER_SYNC_DESCRIBE_IN, {"uri"}, FINDER_SYNC_DESCRIBE_OUT, {"rows"},
        &Self::describe);
    add(FINDER_SYNC_STATUS, "", {}, FINDER_SYNC_STATUS_OUT, {"status"}, &Self::statusOf);
    add(FINDER_SYNC_BADGE_TABLE, "", {}, FINDER_SYNC_BADGE_TABLE_OUT, {"badges"}, &Self::badgeTable);
    add(FINDER_SYNC_WATCHED_DIRECTORIES, "", {}, FINDER_SYNC_WATCHED_DIRECTORIES_OUT, {"isSet", "uris"},
        &Self::watchedDirectories);
    add(FINDER_SYNC_TELL_LONGEST, FINDER_SYNC_TELL_LONGEST_IN, {"microseconds"}, "", {}, &Self::tellLongest);
    add(FINDER_SYNC_VERSION, "", {}, FINDER_SYNC_VERSION_OUT, {"version"}, &Self::versionOf);
    const auto addSignal = [this](const char* name, const char* types,
                                  const std::vector<std::string>& names) {
        object->registerSignal(FINDER_SYNC_INTERFACE, name, types, names);
    };
    addSignal(FINDER_SYNC_BADGES_CHANGED, FINDER_SYNC_BADGES_CHANGED_TYPES, {"sequence", "directories"});
    addSignal(FINDER_SYNC_DIRECTORIES_CHANGED, FINDER_SYNC_DIRECTORIES_CHANGED_TYPES, {"isSet", "uris"});
    addSignal(FINDER_SYNC_MENUS_CHANGED, "", {});
    addSignal(FINDER_SYNC_OBSERVING_BEGAN, FINDER_SYNC_OBSERVING_BEGAN_TYPES, {"uri"});
    addSignal(FINDER_SYNC_ACTIVATION_FINISHED, FINDER_SYNC_ACTIVATION_FINISHED_TYPES,
              {"number", "succeeded", "message", "arguments"});
    object->registerSignal(SYNC_PROGRESS_INTERFACE, SYNC_PROGRESS_CHANGED, "", std::vector<std::string>{});
    object->finishRegistration();
    around.bus.wake();
}

FinderSync1Service::~FinderSync1Service() = default;

void FinderSync1Service::add(const char* name, const char* in, const std::vector<std::string>& inNames,
                             const char* out, const std::vector<std::string>& outNames, Method method) {
    object->registerMethod(
        FINDER_SYNC_INTERFACE, name, in, inNames, out, outNames, [this, method](sdbus::MethodCall call) {
            const std::string host = call.getSender();
            around.unread.comes(host);
            if (around.unread.exceeds(host, mostForAnswers)) return;
            try {
                (this->*method)(call);
            } catch (const sdbus::Error& error) {
                if (error.getName() == limitsExceededError)
                    around.log.error("Refused a call of ", host, ": ", std::string_view(error.getMessage()));
                throw;
            }
        });
}

bool FinderSync1Service::requestName() {
    try {
        around.bus.connection().requestName(FINDER_SYNC_BUS_NAME);
        around.bus.wake();
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

template <typename Fill>
void FinderSync1Service::reply(const sdbus::MethodCall& call, std::size_t size, Fill&& fill) {
    if (call.doesntExpectReply()) return;
    around.unread.sent(call.getSender(), emptyMessage + size);
    try {
        sdbus::MethodReply answer = call.createReply();
        fill(answer);
        answer.send();
        around.bus.wake();
    } catch (const sdbus::Error&) {
        // The caller or the bus has gone.
    }
}

// --- calls, on the bus thread

void FinderSync1Service::badgesForItems(sdbus::MethodCall& call) {
    around.service.badges(readTexts(call, mostItems), [this, call](const extension::BadgeBatch& batch) {
        reply(call, batch.answers.size() * (3 * textFrame), [&batch](sdbus::MethodReply& answer) {
            answer << batch.sequence;
            answer.openContainer("(" FINDER_SYNC_ANSWER_FIELDS ")");
            for (const extension::BadgeAnswer& item : batch.answers) {
                answer.openStruct(FINDER_SYNC_ANSWER_FIELDS);
                answer << nameOf(item) << item.isInSync << item.isRoot;
                answer.closeStruct();
            }
            answer.closeContainer();
        });
    });
}

void FinderSync1Service::menuForItems(sdbus::MethodCall& call) {
    std::uint32_t kind = 0;
    call >> kind;
    around.service.menu(static_cast<platform::FIMenuKind>(kind), readTexts(call, mostItems),
                        [this, call](const platform::MenuHandle& menu) {
                            reply(call, menuMessage,
                                  [&menu](sdbus::MethodReply& answer) { appendMenuItems(answer, *menu); });
                        });
}

void FinderSync1Service::menusByClass(sdbus::MethodCall& call) {
    reply(call, 7 * menuMessage, [this](sdbus::MethodReply& answer) {
        answer.openContainer("{" FINDER_SYNC_MENUS_ENTRY_FIELDS "}");
        for (const auto& [name, menu] : around.service.menusByClass()) {
            answer.openDictEntry(FINDER_SYNC_MENUS_ENTRY_FIELDS);
            answer << std::string(name);
            appendMenuItems(answer, *menu);
            answer.closeDictEntry();
        }
        answer.closeContainer();
    });
}

void FinderSync1Service::activate(sdbus::MethodCall& call) {
    host_service::Activation activation;
    call >> activation.item;
    activation.uris = readTexts(call, mostItems);
    if (const auto environment = readValue(call, FINDER_SYNC_ACTIVATE_ENVIRONMENT, smallValueMemory))
        for (const auto& [name, value] : *environment->dictionary())
            activation.environment.emplace(name, *value.string());
    call >> activation.activationToken;
    if (auto options = readValue(call, FINDER_SYNC_ACTIVATE_OPTIONS, smallValueMemory))
        activation.options = std::move(*options->dictionary());
    activation.host = call.getSender();
    std::string message;
    const auto number = around.service.activate(activation, message);
    if (!number) throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", message);
    reply(call, 0, [number](sdbus::MethodReply& answer) { answer << *number; });
}

void FinderSync1Service::beginObserving(sdbus::MethodCall& call) {
    std::string uri;
    call >> uri;
    around.service.beginObserving(call.getSender(), std::move(uri));
    reply(call, 0, [](sdbus::MethodReply&) {});
}

void FinderSync1Service::endObserving(sdbus::MethodCall& call) {
    std::string uri;
    call >> uri;
    around.service.endObserving(call.getSender(), std::move(uri));
    reply(call, 0, [](sdbus::MethodReply&) {});
}

void FinderSync1Service::tellLongest(sdbus::MethodCall& call) {
    std::uint64_t microseconds = 0;
    call >> microseconds;
    around.service.heldUp(call.getSender(), microseconds);
    reply(call, 0, [](sdbus::MethodReply&) {});
}

void FinderSync1Service::explain(sdbus::MethodCall& call) {
    std::string uri;
    call >> uri;
    around.service.explain(std::move(uri), [this, call](const host_service::Explanation& explanation) {
        reply(call, explanation.root.size() + explanation.file.size(),
              [&explanation](sdbus::MethodReply& answer) {
                  answer << explanation.badge << explanation.rule << explanation.root << explanation.file;
              });
    });
}

void FinderSync1Service::describe(sdbus::MethodCall& call) {
    std::string uri;
    call >> uri;
    around.descriptions.describe(std::move(uri), [this, call](const host_service::Description& rows) {
        std::size_t size = menuMessage;
        for (const host_service::DescriptionRow& row : rows)
            for (const std::string& argument : row.text.arguments)
                size += argument.size();
        reply(call, size, [&rows](sdbus::MethodReply& answer) {
            answer.openContainer("(" FINDER_SYNC_DESCRIPTION_FIELDS ")");
            for (const host_service::DescriptionRow& row : rows) {
                answer.openStruct(FINDER_SYNC_DESCRIPTION_FIELDS);
                answer << std::string(row.label) << row.text.format << row.text.arguments;
                answer.closeStruct();
            }
            answer.closeContainer();
        });
    });
}

void FinderSync1Service::statusOf(sdbus::MethodCall& call) {
    around.service.status([this, call](const platform::Dictionary& status) {
        std::size_t size = menuMessage;
        for (const auto& [key, value] : status)
            if (value.array() != nullptr)
                for (const platform::Value& item : *value.array())
                    size += 2 * textFrame + (item.string() != nullptr ? item.string()->size() : 0);
        reply(call, size,
              [&status](sdbus::MethodReply& answer) { appendValue(answer, FINDER_SYNC_STATUS_OUT, status); });
    });
}

void FinderSync1Service::badgeTable(sdbus::MethodCall& call) {
    reply(call, menuMessage, [this](sdbus::MethodReply& answer) {
        answer.openContainer("(" FINDER_SYNC_BADGE_FIELDS ")");
        for (const host_service::RegisteredBadge& badge : around.service.tables().badges()) {
            answer.openStruct(FINDER_SYNC_BADGE_FIELDS);
            answer << badge.identifier << badge.label << badge.imagePath;
            answer.closeStruct();
        }
        answer.closeContainer();
    });
}

void FinderSync1Service::watchedDirectories(sdbus::MethodCall& call) {
    reply(call, menuMessage,
          [this](sdbus::MethodReply& answer) { appendURIs(answer, around.service.tables().directories()); });
}

void FinderSync1Service::versionOf(sdbus::MethodCall& call) {
    reply(call, 0, [this](sdbus::MethodReply& answer) { answer << version; });
}

} // namespace backends::dbus
