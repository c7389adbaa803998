#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

#if defined(__linux__)
#include <sys/syscall.h>
#include <unistd.h>
#else
#include <functional>
#include <thread>
#endif

#include "base/fault_numbers.h"
#include "base/platform.h"

// With the initial-exec model a thread's first look at such a variable allocates nothing, so that
// a signal handler may look too; and every look is a single instruction.
#if defined(__GLIBC__)
#define WBX_TLS_MODEL __attribute__((tls_model("initial-exec")))
#else
#define WBX_TLS_MODEL
#endif

namespace wbx {

namespace {

// One running trapFaults. The frames of a thread form a chain, since a caller's callback may call
// the library again. A callback or signal handler that leaves by longjmp leaves frames in the chain
// whose calls are gone; `position` on the stack tells.
struct TrapFrame {
  explicit TrapFrame(std::uintptr_t position);
  ~TrapFrame();
  TrapFrame(const TrapFrame&) = delete;
  TrapFrame& operator=(const TrapFrame&) = delete;

  [[nodiscard]] std::uintptr_t sealOf() const {
    return reinterpret_cast<std::uintptr_t>(this) ^ reinterpret_cast<std::uintptr_t>(outer);
  }
  // Nothing was written over the frame.
  [[nodiscard]] __attribute__((no_sanitize("address"))) bool isWhole() const {
    return seal == ~sealOf();
  }

  sigjmp_buf escape;
  std::uintptr_t position;
  TrapFrame* outer;
  volatile std::uintptr_t seal;
  volatile u32 fault = 0;
};

WBX_TLS_MODEL constinit thread_local TrapFrame* innermostFrame = nullptr;
WBX_TLS_MODEL constinit thread_local u32 errorWord = 0;

// Stacks grow downwards. What runs at `position` has left the calls further down on its stack, and
// all on the stack for signal handlers if it runs on another.
__attribute__((no_sanitize("address"))) bool hasLeft(const TrapFrame& frame,
                                                     std::uintptr_t position) {
  stack_t forSignals = {};
  sigaltstack(nullptr, &forSignals);
  const auto isForSignals = [&forSignals](std::uintptr_t place) {
    return (forSignals.ss_flags & SS_DISABLE) == 0 &&
           place - reinterpret_cast<std::uintptr_t>(forSignals.ss_sp) < forSignals.ss_size;
  };
  const bool frameIsForSignals = isForSignals(frame.position);
  if (frameIsForSignals != isForSignals(position)) return frameIsForSignals;
  return frame.position <= position;
}

// The innermost frame that is still there for code that runs at `position`. The sanitizer would
// object to looks at the stack of calls that were left.
__attribute__((no_sanitize("address"))) TrapFrame* frameAround(std::uintptr_t position) {
  TrapFrame* frame = innermostFrame;
  while (frame != nullptr) {
    if (!frame->isWhole()) return nullptr;
    if (!hasLeft(*frame, position)) return frame;
    frame = frame->outer;
  }
  return nullptr;
}

__attribute__((no_sanitize("address"))) TrapFrame::TrapFrame(std::uintptr_t place)
    : position(place), outer(frameAround(place)), seal(~sealOf()) {
  innermostFrame = this;
}
__attribute__((no_sanitize("address"))) TrapFrame::~TrapFrame() {
  innermostFrame = outer;
}

// Where the interrupted code had its stack; null where this is not known, which is inside of all.
std::uintptr_t stackPointer(const void* context) {
  const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__linux__) && defined(__x86_64__)
  return static_cast<std::uintptr_t>(machine.gregs[REG_RSP]);
#elif defined(__linux__) && defined(__i386__)
  return static_cast<std::uintptr_t>(machine.gregs[REG_ESP]);
#elif defined(__linux__) && defined(__aarch64__)
  return static_cast<std::uintptr_t>(machine.sp);
#elif defined(__linux__) && defined(__arm__)
  return static_cast<std::uintptr_t>(machine.arm_sp);
#elif defined(__linux__) && defined(__riscv)
  return static_cast<std::uintptr_t>(machine.__gregs[2]);
#elif defined(__linux__) && defined(__s390x__)
  return static_cast<std::uintptr_t>(machine.gregs[15]);
#else
  static_cast<void>(machine);
  return 0;
#endif
}

struct Trap {
  int signal;
  bool inPlace;
  struct sigaction before;
};

constinit Trap traps[] = {
    {SIGSEGV, false, {}}, {SIGBUS, false, {}}, {SIGFPE, false, {}}, {SIGILL, false, {}}};

Trap& trapOf(int signal) {
  Trap* trap = traps;
  while (trap->signal != signal) ++trap;
  return *trap;
}

// A positive code is the kernel's word for a fault of the running instruction; the others come from
// kill, raise and the like, and are no business of ours.
bool isSent(const siginfo_t* info) {
  return info->si_code <= 0;
}

u32 floatFault(int code) {
  switch (code) {
    case FPE_INTDIV:
      return kFaultIntegerDivideByZero;
    case FPE_INTOVF:
      return kFaultIntegerOverflow;
    case FPE_FLTDIV:
      return kFaultFloatDivideByZero;
    case FPE_FLTOVF:
      return kFaultFloatOverflow;
    case FPE_FLTUND:
      return kFaultFloatUnderflow;
    case FPE_FLTRES:
      return kFaultFloatInexact;
    case FPE_FLTSUB:
      return kFaultArrayBounds;
    default:
      return kFaultFloatInvalid;
  }
}

// The number for a signal and its si_code.
u32 faultOfSignal(int signal, int code) {
  switch (signal) {
    case SIGBUS:
      return code == BUS_ADRALN ? kFaultMisalignment : kFaultAccessViolation;
    case SIGFPE:
      return floatFault(code);
    case SIGILL:
      return kFaultIllegalInstruction;
    default:
      return kFaultAccessViolation;
  }
}

// The default action needs the signal once more: a fault comes again by itself when its instruction
// does, a sent signal has to be sent again, and arrives when our handler returns.
void takeDefaultAction(int signal, const siginfo_t* info) {
  std::signal(signal, SIG_DFL);
  if (isSent(info)) std::raise(signal);
}

// Hands the signal to the handler that stood before ours, as the kernel would have.
void handOn(int signal, siginfo_t* info, void* context) {
  Trap& trap = trapOf(signal);
  const struct sigaction before = trap.before;
  if ((before.sa_flags & SA_SIGINFO) == 0) {
    if (before.sa_handler == SIG_IGN && isSent(info)) return;
    if (before.sa_handler == SIG_IGN || before.sa_handler == SIG_DFL) {
      takeDefaultAction(signal, info);
      return;
    }
  }

  pthread_sigmask(SIG_BLOCK, &before.sa_mask, nullptr);
  if ((before.sa_flags & SA_NODEFER) != 0) {
    sigset_t self;
    sigemptyset(&self);
    sigaddset(&self, signal);
    pthread_sigmask(SIG_UNBLOCK, &self, nullptr);
  }
  if ((static_cast<u32>(before.sa_flags) & static_cast<u32>(SA_RESETHAND)) != 0) {
    trap.before.sa_flags = 0;
    trap.before.sa_handler = SIG_DFL;
  }
  if ((before.sa_flags & SA_SIGINFO) != 0) {
    before.sa_sigaction(signal, info, context);
  } else {
    before.sa_handler(signal);
  }
}

void onSignal(int signal, siginfo_t* info, void* context) {
  const u32 fault = faultOfSignal(signal, info->si_code);
  TrapFrame* frame = isSent(info) || !isTaken(fault) ? nullptr : frameAround(stackPointer(context));
  if (frame == nullptr) {
    handOn(signal, info, context);
    return;
  }
  frame->fault = fault;
  // Put back by hand, the mask costs nothing on the way in: a sigsetjmp that saves it makes a
  // system call for every guard.
  pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
  siglongjmp(frame->escape, 1);
}

bool isOurs(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &onSignal;
}

// The exception of a forced unwinding has no object, which the sanitizer takes for a null
// reference.
__attribute__((no_sanitize("undefined"))) u32 callAndCatch(void (*call)(void*), void* argument) {
  try {
    call(argument);
    return 0;
#if defined(__GLIBCXX__)
  } catch (abi::__forced_unwind&) {
    throw;  // a thread that is cancelled inside a caller's callback has to unwind to its end
#endif
  } catch (...) {
    return kFaultLanguageException;
  }
}

bool isPlain(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) == 0 &&
         (action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN);
}

void install(Trap& trap) {
  struct sigaction current = {};
  if (sigaction(trap.signal, nullptr, &current) != 0 || isOurs(current)) return;
  // A handler that was set above ours calls ours; to go above it in turn would close a circle.
  if (trap.inPlace && !isPlain(current)) return;

  struct sigaction ours = {};
  ours.sa_sigaction = &onSignal;
  ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&ours.sa_mask);
  trap.before = current;
  trap.inPlace = sigaction(trap.signal, &ours, nullptr) == 0;
}

void remove(Trap& trap) {
  struct sigaction current = {};
  if (!trap.inPlace || sigaction(trap.signal, nullptr, &current) != 0 || !isOurs(current)) return;
  trap.inPlace = sigaction(trap.signal, &trap.before, nullptr) != 0;
}

}  // namespace

u32 lastErrorWord() {
  return errorWord;
}

void setLastErrorWord(u32 word) {
  errorWord = word;
}

u32 currentThreadId() {
#if defined(__linux__)
  return static_cast<u32>(syscall(SYS_gettid));
#else
  return static_cast<u32>(std::hash<std::thread::id>{}(std::this_thread::get_id()));
#endif
}

u32 millisecondsSince(std::clock_t start) {
  return static_cast<u32>(static_cast<i64>(std::clock() - start) * 1000 / CLOCKS_PER_SEC);
}

std::FILE* openForReading(const char* path) {
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr || seekInFile(file, 0)) return file;
  std::fclose(file);
  return nullptr;
}

bool seekInFile(std::FILE* file, u32 offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

int readByte(std::FILE* file) {
  return getc_unlocked(file);
}

// 0 free, 1 held, 2 held and perhaps waited for.
void acquireLock(LockWord& word) {
  std::uintptr_t state = 0;
  if (word.compare_exchange_strong(state, 1, std::memory_order_acquire)) return;
  while (word.exchange(2, std::memory_order_acquire) != 0) word.wait(2, std::memory_order_relaxed);
}

void releaseLock(LockWord& word) {
  if (word.exchange(0, std::memory_order_release) == 2) word.notify_one();
}

std::tm localTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm result = {};
  localtime_r(&now, &result);
  return result;
}

// Its frame lies on the stack itself, where the sanitizer would have it elsewhere.
__attribute__((no_sanitize("address"))) u32 trapFaults(void (*call)(void*), void* argument) {
  TrapFrame frame(reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)));
  if (sigsetjmp(frame.escape, 0) != 0) return frame.fault;
  return callAndCatch(call, argument);
}

void installFaultTraps() {
  for (Trap& trap : traps) install(trap);
}

void removeFaultTraps() {
  for (Trap& trap : traps) remove(trap);
}

void callAroundForks(void (*before)(), void (*after)()) {
  pthread_atfork(before, after, after);
}

}  // namespace wbx
