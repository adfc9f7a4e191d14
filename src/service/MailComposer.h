// The person's own mail program.
#pragma once

#include "service/Outcome.h"

#include <string>
#include <vector>

namespace service {

struct Mail {
    std::vector<std::string> recipients; // addresses
    std::string subject;
    std::string text;
};

class MailComposer {
  public:
    virtual ~MailComposer() = default;

    // Opens a window with the mail, for the person to read, change and send: nothing is sent here. Done means
    // that a program has taken it. May take as long as a desktop takes to start one; one thread at a time.
    virtual Outcome<Done> compose(const Mail& mail) = 0;
};

} // namespace service
