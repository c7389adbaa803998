#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <climits>
#include <io.h>
#include <malloc.h>
#include <share.h>
#include <windows.h>

#include "base/fault_numbers.h"
#include "base/memory.h"
#include "base/platform.h"

// Faults are taken frame by frame: a handler that a callback of the caller has set up lies further
// in and is asked before ours, as are those of C++, and the debugger comes before all of them. A
// vectored handler would stand in front of them instead.
//
// wbxCallGuarded(call, argument) does the call and returns 0. For a fault in it the system asks the
// handler of its frame; if that takes the fault, everything further in is unwound and the function
// returns the number of the fault.
extern "C" wbx::u32 wbxCallGuarded(void (*call)(void*), void* argument);

namespace wbx {

namespace {

// GCC's run-time library raises its C++ exceptions and unwindings with numbers of its own.
constexpr u32 kOwnerBits = 0x00FFFFFF;
constexpr u32 kOwnedByGcc = 0x00474343;

// The number of a fault that ends the guarded call; 0 for what is to be passed on.
u32 faultToTake(const EXCEPTION_RECORD* record) {
  const u32 number = record->ExceptionCode;
  const bool unwinding =
      (record->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND)) != 0;
  return unwinding || !isTaken(number) || (number & kOwnerBits) == kOwnedByGcc ? 0 : number;
}

}  // namespace

}  // namespace wbx

#if defined(__x86_64__)

// The unwinder finds a handler by the address of the code that called. The compiler sets up such
// tables for C++ exceptions alone, so the frame is written out here.
asm(R"(
	.text
	.p2align 4
	.globl	wbxCallGuarded
	.globl	wbxGuardedCallEnds
	.def	wbxCallGuarded; .scl 2; .type 32; .endef
	.seh_proc	wbxCallGuarded
wbxCallGuarded:
	pushq	%rbp
	.seh_pushreg	%rbp
	subq	$32, %rsp
	.seh_stackalloc	32
	.seh_endprologue
	.seh_handler	wbxOnFault, @except
	movq	%rcx, %rax
	movq	%rdx, %rcx
	call	*%rax
	xorl	%eax, %eax
wbxGuardedCallEnds:
	addq	$32, %rsp
	popq	%rbp
	ret
	.seh_endproc
)");

extern "C" char wbxGuardedCallEnds[];

extern "C" EXCEPTION_DISPOSITION wbxOnFault(EXCEPTION_RECORD* record, void* frame, CONTEXT*,
                                            DISPATCHER_CONTEXT* dispatcher) {
  const ULONG_PTR fault = wbx::faultToTake(record);
  if (fault == 0) return ExceptionContinueSearch;
  RtlUnwindEx(frame, wbxGuardedCallEnds, record, reinterpret_cast<void*>(fault),
              dispatcher->ContextRecord, dispatcher->HistoryTable);
  return ExceptionContinueSearch;  // not reached
}

#elif defined(__i386__)

extern "C" wbx::u32 wbxFaultToTake(const EXCEPTION_RECORD* record) {
  return wbx::faultToTake(record);
}

// The handlers of a thread form a list that starts at fs:0. A record of it, {next, handler}, lies
// at the low end of the frame, 20 bytes below the saved ebp. RtlUnwind keeps esp and ebp alone, so
// the handler is written out too, and leaves through the end of the call with ebp set anew.
asm(R"(
	.text
	.p2align 4
	.globl	_wbxCallGuarded
	.def	_wbxCallGuarded; .scl 2; .type 32; .endef
_wbxCallGuarded:
	pushl	%ebp
	movl	%esp, %ebp
	pushl	%ebx
	pushl	%esi
	pushl	%edi
	pushl	$_wbxOnFault
	pushl	%fs:0
	movl	%esp, %fs:0
	subl	$16, %esp
	andl	$-16, %esp
	movl	12(%ebp), %eax
	movl	%eax, (%esp)
	call	*8(%ebp)
	xorl	%eax, %eax
wbxGuardedCallEnds:
	leal	-20(%ebp), %esp
	popl	%fs:0
	popl	%ecx
	popl	%edi
	popl	%esi
	popl	%ebx
	popl	%ebp
	ret

	.p2align 4
_wbxOnFault:
	pushl	%ebp
	movl	%esp, %ebp
	subl	$24, %esp
	andl	$-16, %esp
	movl	8(%ebp), %eax
	movl	%eax, (%esp)
	call	_wbxFaultToTake
	testl	%eax, %eax
	jz	1f
	pushl	%eax
	pushl	$0
	pushl	8(%ebp)
	pushl	$0
	pushl	12(%ebp)
	call	_RtlUnwind@16
	popl	%eax
	movl	12(%ebp), %ebp
	addl	$20, %ebp
	jmp	wbxGuardedCallEnds
1:	movl	$1, %eax
	leave
	ret
)");

#endif

namespace wbx {

namespace {

struct Call {
  void (*function)(void*);
  void* argument;
  u32 fault;
};

void callAndCatch(void* argument) {
  Call& call = *static_cast<Call*>(argument);
  try {
    call.function(call.argument);
  } catch (...) {
    call.fault = kFaultLanguageException;
  }
}

// UTF-8 as the system takes it; null when it is none, or memory is short.
class WideText {
 public:
  explicit WideText(const char* text) {
    const int length = convert(text, 0);
    if (length == 0) return;
    text_ =
        static_cast<wchar_t*>(allocateMemory(static_cast<size_t>(length) * sizeof(wchar_t), false));
    if (text_ != nullptr) convert(text, length);
  }
  ~WideText() { freeMemory(text_); }
  WideText(const WideText&) = delete;
  WideText& operator=(const WideText&) = delete;

  [[nodiscard]] const wchar_t* get() const { return text_; }

 private:
  int convert(const char* text, int room) {
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, text_, room);
  }

  wchar_t* text_ = nullptr;
};

bool isOnDisk(std::FILE* file) {
  return GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)))) == FILE_TYPE_DISK;
}

SRWLOCK* systemLock(LockWord& word) {
  static_assert(sizeof(LockWord) == sizeof(SRWLOCK) && LockWord::is_always_lock_free);
  return reinterpret_cast<SRWLOCK*>(&word);
}

}  // namespace

u32 lastErrorWord() {
  return GetLastError();
}

void setLastErrorWord(u32 word) {
  SetLastError(word);
}

u32 currentThreadId() {
  return GetCurrentThreadId();
}

u32 millisecondsSince(std::clock_t start) {
  return static_cast<u32>(static_cast<i64>(std::clock() - start) * 1000 / CLOCKS_PER_SEC);
}

// The run-time library keeps a record for each thread.
std::tm localTimeNow() {
  const std::time_t now = std::time(nullptr);
  const std::tm* found = std::localtime(&now);
  return found != nullptr ? *found : std::tm{};
}

std::FILE* openForReading(const char* path) {
  const WideText wide(path);
  std::FILE* file = wide.get() != nullptr ? _wfsopen(wide.get(), L"rb", _SH_DENYNO) : nullptr;
  if (file == nullptr || isOnDisk(file)) return file;
  std::fclose(file);
  return nullptr;
}

// Nearly all offsets are within the reach of fseek. Beyond, not every run-time library clears the
// mark of the end of the file, as fseek does.
bool seekInFile(std::FILE* file, u32 offset) {
  if (offset <= LONG_MAX) return std::fseek(file, static_cast<long>(offset), SEEK_SET) == 0;
  if (_fseeki64(file, offset, SEEK_SET) != 0) return false;
  if (std::ferror(file) == 0) std::clearerr(file);
  return true;
}

int readByte(std::FILE* file) {
  return _getc_nolock(file);
}

// The system's slim lock is a word that is 0 while it is free.
void acquireLock(LockWord& word) {
  AcquireSRWLockExclusive(systemLock(word));
}

void releaseLock(LockWord& word) {
  ReleaseSRWLockExclusive(systemLock(word));
}

// Behind a stack overflow the thread needs its guard page back, or the next one ends the process.
// The last-error word stays: calls of the system change it even when they succeed.
u32 trapFaults(void (*call)(void*), void* argument) {
  const KeptErrorWord kept;
  Call record = {call, argument, 0};
  const u32 fault = wbxCallGuarded(&callAndCatch, &record);
  if (fault == kFaultStackOverflow) (void)_resetstkoflw();
  return fault != 0 ? fault : record.fault;
}

// The frames are all there is.
void installFaultTraps() {}
void removeFaultTraps() {}

void callAroundForks(void (* /*before*/)(), void (* /*after*/)()) {}

}  // namespace wbx
