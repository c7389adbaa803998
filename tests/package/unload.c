/* unload LIBRARY: an application whose handler passes faults on to the library's, which it found in
 * place, goes on doing so after the library was unloaded. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <setjmp.h>
#include <signal.h>
#include <stddef.h>

static sigjmp_buf escape;
static struct sigaction found;

static void recover(int number) {
  (void)number;
  siglongjmp(escape, 1);
}

static void pass_on(int number, siginfo_t* info, void* context) {
  if ((found.sa_flags & SA_SIGINFO) != 0) {
    found.sa_sigaction(number, info, context);
  } else {
    found.sa_handler(number);
  }
}

int main(int argc, char** argv) {
  static volatile int round; /* kept over the jump */
  static volatile size_t nowhere = 256;
  struct sigaction above = {0};
  signal(SIGSEGV, recover);
  above.sa_sigaction = pass_on;
  above.sa_flags = SA_SIGINFO;
  for (round = 0; round < 3; ++round) {
    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (library == NULL) return 2;
    if (round == 0) sigaction(SIGSEGV, &above, &found);
    dlclose(library);
    if (sigsetjmp(escape, 1) == 0) {
      *(volatile int*)nowhere = 1;
      return 1;
    }
  }
  return 0;
}
