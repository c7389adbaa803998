// The library's fault guard would turn a fault into an error code; here the sanitizer keeps the
// signals to itself and every fault is a finding. Memory beyond a gigabyte is not to be had.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=1024:handle_segv=2:handle_sigbus=2:"
         "handle_sigfpe=2:handle_sigill=2:handle_abort=1";
}
