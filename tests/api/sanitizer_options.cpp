// An allocation that cannot be served gives null with a sanitizer too: the tests want to see what
// becomes of it.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
