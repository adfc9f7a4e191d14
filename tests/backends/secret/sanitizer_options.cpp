// What the address sanitizer must know of the libraries behind the secret store, which are not built with it.
// Idle under anything else.
extern "C" {

// A prompt leaves eight bytes behind for each of its two signals, when the loop that it waits in ends. The
// full stack is needed to tell this from leaks of ours.
const char* __asan_default_options();
const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:_secret_prompt_instance\n"; }
}
