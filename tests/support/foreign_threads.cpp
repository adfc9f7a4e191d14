// For programs that run Qt's or GLib's threads. Those libraries are not built with ThreadSanitizer, which
// does not see their locks: what they do on their own threads looks like races. Idle under anything else.
extern "C" {
const char* __tsan_default_options();
const char* __tsan_default_options() { return "ignore_noninstrumented_modules=1"; }
}
