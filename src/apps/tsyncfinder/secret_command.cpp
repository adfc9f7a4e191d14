#include "apps/tsyncfinder/secret_command.h"

#include "apps/tsyncfinder/secret_input.h"
#include "keychain/keychain.h"

#include <sys/prctl.h>

#include <cerrno>
#include <iostream>
#include <unistd.h>

namespace apps::tsyncfinder {
namespace {

// No core dump of the process while a password may be in it: the library that talks to the store copies it
// through ordinary memory. Afterwards the process is as before.
class WithoutCoreDump {
  public:
    WithoutCoreDump() : former(prctl(PR_GET_DUMPABLE)) { prctl(PR_SET_DUMPABLE, 0); }
    WithoutCoreDump(const WithoutCoreDump&) = delete;
    WithoutCoreDump& operator=(const WithoutCoreDump&) = delete;
    ~WithoutCoreDump() {
        if (former == 1) prctl(PR_SET_DUMPABLE, 1);
    }

  private:
    int former;
};

int complain(std::string_view text) {
    std::cerr << "tsyncfinder secret: " << text << '\n';
    return 1;
}

// Tells a person the errors among the lines, without what only the log of a service needs.
class PlainLog final : public platform::ProcessLog {
  public:
    bool isOn(platform::LogLevel level) const override { return level == platform::LogLevel::error; }
    void write(platform::LogLevel, std::string_view line) override {
        constexpr std::string_view beforeReason = " msg: ";
        hasError = true;
        const std::size_t at = line.find(beforeReason);
        complain(at != std::string_view::npos ? line.substr(at + beforeReason.size()) : line);
    }
    bool hasError = false;
};

struct Arguments {
    keychain::KeychainRef collection;
    std::string service;
    std::string newService;
    std::string field = "password";
};

// Past the buffers of the standard streams, which would keep a copy.
bool writeOut(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// The secret store, and the log that says what it refuses.
struct Store {
    platform::SecretStore& secrets;
    PlainLog& log;
    keychain::KeychainServices services() const { return {secrets, log}; }
};

int add(const Store& store, const Arguments& arguments) {
    return QkKeychainAddGenericEntry(store.services(), arguments.collection, arguments.service) ? 0 : 1;
}

int get(const Store& store, const Arguments& arguments) {
    const keychain::KeychainItemRef item = QkKeychainGetKeychainItemRefWithServiceName(
        store.services(), arguments.collection, arguments.service);
    if (!item) return 1;
    std::optional<platform::SecretBytes> bytes;
    if (arguments.field == "password") {
        bytes = QkKeychainGetPasswordForKeychainItemRef(store.services(), item);
    } else {
        const auto tag = arguments.field == "username" ? platform::SecretAttribute::accountName
                                                       : platform::SecretAttribute::comment;
        if (const std::optional<std::string> text = QkKeychainGetItemAttributeTagForKeychainItemRef(
                store.services(), item, static_cast<std::uint32_t>(tag)))
            bytes.emplace(std::string_view(*text));
    }
    if (!bytes) return store.log.hasError ? 1 : complain("the " + arguments.field + " is empty");
    if (!writeOut(bytes->view()) || (isatty(STDOUT_FILENO) && !writeOut("\n")))
        return complain("cannot write to standard output");
    return 0;
}

int set(const Store& store, const Arguments& arguments) {
    const bool isPassword = arguments.field == "password";
    const std::string prompt = arguments.field + " of " + arguments.service + ": ";
    const std::optional<platform::SecretBytes> bytes = readSecret(STDIN_FILENO, prompt, !isPassword);
    if (!bytes) return complain("no " + arguments.field + " on standard input, or more than 1 MiB");
    const auto setField = isPassword                      ? keychain::QkKeychainSetGenericPassword
                          : arguments.field == "username" ? keychain::QkKeychainSetGenericUsername
                                                          : keychain::QkKeychainSetGenericComment;
    return setField(store.services(), arguments.collection, arguments.service, bytes->view()) ? 0 : 1;
}

int rename(const Store& store, const Arguments& arguments) {
    return QkKeychainRenameGenericEntry(store.services(), arguments.collection, arguments.service,
                                        arguments.newService)
               ? 0
               : 1;
}

int exists(const Store& store, const Arguments& arguments) {
    if (keychain::QkKeychainDoesGenericEntryExist(store.services(), arguments.collection, arguments.service))
        return 0;
    return store.log.hasError ? 2 : 1;
}

// Without a store there is nothing to remove either, but a person who wants an entry gone must hear of it.
int remove(const Store& store, const Arguments& arguments) {
    if (exists(store, arguments) == 2) return 1;
    return QkKeychainRemoveGenericEntry(store.services(), arguments.collection, arguments.service) ? 0 : 1;
}

} // namespace

void addSecretCommand(CLI::App& program, std::function<std::unique_ptr<platform::SecretStore>()> makeStore,
                      int& exitStatus) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* secret = program.add_subcommand("secret", "Use the entries of the desktop's secret store")
                           ->require_subcommand(1);
    secret->add_option("--collection", arguments->collection,
                       "Title or alias of the collection (the default one if left out)");

    const auto addAction = [&](const char* name, const char* help,
                               int (*run)(const Store&, const Arguments&)) {
        CLI::App* action = secret->add_subcommand(name, help)->fallthrough();
        action->add_option("SERVICE", arguments->service, "Service name of the entry")->required();
        action->callback([=, &exitStatus] {
            const WithoutCoreDump guard;
            const std::unique_ptr<platform::SecretStore> store = makeStore();
            if (!store) {
                complain("built without libsecret, there is no secret store");
                exitStatus = 2;
                return;
            }
            PlainLog log;
            exitStatus = run({*store, log}, *arguments);
        });
        return action;
    };
    const auto addField = [&](CLI::App* action) {
        action->add_option("--field", arguments->field, "Which field of the entry")
            ->capture_default_str()
            ->check(CLI::IsMember({"password", "username", "comment"}));
    };
    addAction("add", "Add an entry with an empty password", add);
    addField(addAction("get", "Print the password, or another field", get));
    addField(addAction("set", "Read the password, or another field, from standard input", set));
    addAction("rename", "Give an entry another service name", rename)
        ->add_option("NEW", arguments->newService, "The new service name")
        ->required();
    addAction("remove", "Remove an entry", remove);
    addAction("exists", "Tell by the exit status whether there is an entry", exists);
}

} // namespace apps::tsyncfinder
