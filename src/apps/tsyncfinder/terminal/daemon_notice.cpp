#include "apps/tsyncfinder/terminal/daemon_notice.h"

#include "apps/tsyncfinder/terminal/paths.h"

namespace apps::tsyncfinder::terminal {

using platform::Presence;

void tellWhenDaemonIsNotAnswering(Presence daemon) {
    if (daemon == Presence::absent) complain("The sync service is not running; this is what was known last.");
    if (daemon == Presence::silent)
        complain("The sync service does not answer; this is what was known last.");
}

std::string_view nameOf(Presence presence) {
    switch (presence) {
    case Presence::answering:
        return "answering";
    case Presence::silent:
        return "silent";
    case Presence::absent:
        break;
    }
    return "absent";
}

} // namespace apps::tsyncfinder::terminal
