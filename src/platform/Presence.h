// Whether a program that others speak to is there, as far as it can be told from outside.
#pragma once

namespace platform {

enum class Presence {
    absent,    // nobody has its name
    silent,    // somebody has, and does not handle messages: stopped, or hanging
    answering, // it handles messages
};

} // namespace platform
