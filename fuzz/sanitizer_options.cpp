// The library's fault guard would turn a fault into an error code; here the sanitizer keeps the
// signals of bad addresses to itself and every such fault is a finding. The other two signals are
// left to the guard, for faults that a target makes in a callback; code 27 from anything else is a
// finding too. Memory beyond a gigabyte is not to be had.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=1024:handle_segv=2:handle_sigbus=2:"
         "handle_sigfpe=1:handle_sigill=1:handle_abort=1";
}
