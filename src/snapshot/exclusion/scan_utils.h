// Which items are never reported as changes, and the matchers for user patterns.
//
// Everything here is a pure function of its arguments and may be called from any thread.
#pragma once

#include "snapshot/DSExclusion.h"

#include <regex.h>

namespace snapshot {

// A user pattern, compiled once for any number of paths.
//
// The pattern stands for a run of the path that begins at its start, or after a "/" and at least one more
// byte, and ends at its end or before a "/". "*" is any run of bytes; "^", "$", ".", parentheses, braces,
// brackets, "\", "/", ":" and "+" stand for themselves; "?" and "|" keep their meaning in an extended
// regular expression (POSIX, XBD 9.4). One trailing "/" of the pattern and of the path is ignored. Bytes are
// matched as such, whatever the locale.
class CompiledPattern {
  public:
    explicit CompiledPattern(const char* pattern);
    ~CompiledPattern();
    CompiledPattern(const CompiledPattern&) = delete;
    CompiledPattern& operator=(const CompiledPattern&) = delete;

    // False for a pattern whose expression does not compile; it matches nothing.
    bool isValid() const { return _isValid; }

    // A failure of the matcher itself counts as a match.
    bool matches(const char* path) const;

  private:
    regex_t _expression;
    bool _isValid;
};

// Whether the path matches the user pattern.
bool _match(const char* pattern, const char* path);

// Whether the extended regular expression matches anywhere in the subject. One that does not compile matches
// nothing.
bool _match2(const char* pattern, const char* subject);

} // namespace snapshot
