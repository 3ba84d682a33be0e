// SPDX-License-Identifier: MIT
// Faults that an environment variable chooses at run time. scripts/mutate puts an include of this header, and
// calls of what it holds, into copies of the sources; the sources themselves never see it.
//
//   TOVKIT_MUTANT=N         fault N is in force
//   TOVKIT_MUTANT_MAP=FILE  byte N of the file becomes 1 when the place of fault N is reached; no fault is in
//   force
//
// Every shared object and program has a state of its own, set before its static initializers run. Nothing of
// the C library is called or included: tests put their own functions before those.
#pragma once
#pragma GCC system_header

// What a rewritten source may be warned about, and an original is not.
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Waddress"
#pragma GCC diagnostic ignored "-Wbool-compare"
#pragma GCC diagnostic ignored "-Wbool-operation"
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#pragma GCC diagnostic ignored "-Wdiv-by-zero"
#pragma GCC diagnostic ignored "-Wenum-compare"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-overflow"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-truncation"
#pragma GCC diagnostic ignored "-Wfree-nonheap-object"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wint-in-bool-context"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wnarrowing"
#pragma GCC diagnostic ignored "-Wnonnull"
#pragma GCC diagnostic ignored "-Wnull-dereference"
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wpessimizing-move"
#pragma GCC diagnostic ignored "-Wpsabi"
#pragma GCC diagnostic ignored "-Wredundant-move"
#pragma GCC diagnostic ignored "-Wreturn-type"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#pragma GCC diagnostic ignored "-Wstringop-overread"
#pragma GCC diagnostic ignored "-Wsubobject-linkage"
#pragma GCC diagnostic ignored "-Wswitch"
#pragma GCC diagnostic ignored "-Wtype-limits"
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wunused-result"
#pragma GCC diagnostic ignored "-Wunused-value"
#pragma GCC diagnostic ignored "-Wvla"

namespace tovkit_mutant {

struct State {
  unsigned low;  // the faults low, low + 1, ... low + span - 1 are looked at when they are met
  unsigned span;
  unsigned char* map;
};

// The one state of a shared object.
__attribute__((visibility("hidden"))) inline State state = {};

// The result of the system call `number`, or -errno.
inline long Call(long number, long a, long b, long c, long d = 0, long e = 0, long f = 0) {
  register long r10 asm("r10") = d;
  register long r8 asm("r8") = e;
  register long r9 asm("r9") = f;
  long result;
  asm volatile("syscall"
               : "=a"(result)
               : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
               : "rcx", "r11", "memory");
  return result;
}

// What the variable `name` holds, or null.
inline const char* Find(char** environment, const char* name) {
  for (; *environment != nullptr; ++environment) {
    const char* at = *environment;
    const char* wanted = name;
    while (*wanted != '\0' && *at == *wanted) ++at, ++wanted;
    if (*wanted == '\0' && *at == '=') return at + 1;
  }
  return nullptr;
}

inline void ReadEnvironment(char** environment) {
  if (state.span != 0) return;
  if (const char* path = Find(environment, "TOVKIT_MUTANT_MAP")) {
    constexpr long kOpen = 2, kClose = 3, kSeek = 8, kMap = 9, kReadWrite = 2, kCloseOnExec = 02000000,
                   kToEnd = 2;
    const long file = Call(kOpen, reinterpret_cast<long>(path), kReadWrite | kCloseOnExec, 0);
    if (file < 0) return;
    const long size = Call(kSeek, file, 0, kToEnd);
    const long bytes = Call(kMap, 0, size, 1 | 2 /* read, write */, 1 /* shared */, file, 0);
    Call(kClose, file, 0, 0);
    if (bytes < 0 && bytes > -4096) return;
    state.map = reinterpret_cast<unsigned char*>(bytes);
    state.span = static_cast<unsigned>(size);
  } else if (const char* digits = Find(environment, "TOVKIT_MUTANT")) {
    unsigned number = 0;
    for (; *digits >= '0' && *digits <= '9'; ++digits)
      number = number * 10 + static_cast<unsigned>(*digits - '0');
    state.low = number;
    state.span = 1;
  }
}

__attribute__((constructor(101), used)) static void Start(int, char**, char** environment) {
  ReadEnvironment(environment);
}

// A fault that is looked at is met: whether it is in force.
__attribute__((noinline, cold)) inline bool Met(unsigned n) {
  if (state.map == nullptr) return true;
  state.map[n] = 1;
  return false;
}

#define TOVKIT_MUTANT_INLINE __attribute__((always_inline)) inline

TOVKIT_MUTANT_INLINE bool Live(unsigned n) {
  return __builtin_expect(n - state.low < state.span, 0) && Met(n);
}

// Whether fault `n` is in force; never where the compiler computes.
TOVKIT_MUTANT_INLINE constexpr bool On(unsigned n) { return !__builtin_is_constant_evaluated() && Live(n); }

// The number of a fault where the compiler must not compute: an expression that has to be constant does not
// compile.
TOVKIT_MUTANT_INLINE unsigned Id(unsigned n) { return n; }

enum Operator { kLt, kLe, kGt, kGe, kEq, kNe, kAdd, kSub, kMul, kDiv, kRem, kAnd, kOr, kXor, kShl, kShr };

template <Operator kOperator, class A, class B>
TOVKIT_MUTANT_INLINE constexpr auto Apply(A&& a, B&& b) {
  if constexpr (kOperator == kLt) return a < b;
  if constexpr (kOperator == kLe) return a <= b;
  if constexpr (kOperator == kGt) return a > b;
  if constexpr (kOperator == kGe) return a >= b;
  if constexpr (kOperator == kEq) return a == b;
  if constexpr (kOperator == kNe) return a != b;
  if constexpr (kOperator == kAdd) return a + b;
  if constexpr (kOperator == kSub) return a - b;
  if constexpr (kOperator == kMul) return a * b;
  if constexpr (kOperator == kDiv) return a / b;
  if constexpr (kOperator == kRem) return a % b;
  if constexpr (kOperator == kAnd) return a & b;
  if constexpr (kOperator == kOr) return a | b;
  if constexpr (kOperator == kXor) return a ^ b;
  if constexpr (kOperator == kShl) return a << b;
  if constexpr (kOperator == kShr) return a >> b;
}

template <Operator kOperator, class A, class B>
TOVKIT_MUTANT_INLINE constexpr void Assign(A& a, const B& b) {
  if constexpr (kOperator == kAdd) a += b;
  if constexpr (kOperator == kSub) a -= b;
  if constexpr (kOperator == kMul) a *= b;
  if constexpr (kOperator == kDiv) a /= b;
  if constexpr (kOperator == kRem) a %= b;
  if constexpr (kOperator == kAnd) a &= b;
  if constexpr (kOperator == kOr) a |= b;
  if constexpr (kOperator == kXor) a ^= b;
  if constexpr (kOperator == kShl) a <<= b;
  if constexpr (kOperator == kShr) a >>= b;
}

// a FROM b; under fault n, n + 1, ... another operator. Values for built-in types, references for the others.
template <Operator kFrom, Operator kTo, Operator... kMore, class A, class B>
TOVKIT_MUTANT_INLINE constexpr auto SwapReferences(unsigned n, A&& a, B&& b) -> decltype(Apply<kFrom>(a, b)) {
  if (On(n)) return Apply<kTo>(a, b);
  if constexpr (sizeof...(kMore) == 0) {
    return Apply<kFrom>(a, b);
  } else {
    return SwapReferences<kFrom, kMore...>(n + 1, a, b);
  }
}
template <Operator... kOperators, class A, class B>
TOVKIT_MUTANT_INLINE constexpr auto Swap(unsigned n, A a, B b) {
  return SwapReferences<kOperators...>(n, a, b);
}
template <Operator kFrom, Operator kTo, class A, class B>
TOVKIT_MUTANT_INLINE constexpr A& SwapAssign(unsigned n, A& a, const B& b) {
  if (On(n)) {
    Assign<kTo>(a, b);
  } else {
    Assign<kFrom>(a, b);
  }
  return a;
}

// A condition; its opposite under fault n.
template <class T>
TOVKIT_MUTANT_INLINE constexpr bool Negate(unsigned n, T&& condition) {
  return static_cast<bool>(static_cast<T&&>(condition)) != On(n);
}

// A number; one more, one less, its negative or its complement under fault n.
template <class T>
TOVKIT_MUTANT_INLINE constexpr T Up(unsigned n, T value) {
  return On(n) ? static_cast<T>(value + 1) : value;
}
template <class T>
TOVKIT_MUTANT_INLINE constexpr T Down(unsigned n, T value) {
  return On(n) ? static_cast<T>(value - 1) : value;
}
template <class T>
TOVKIT_MUTANT_INLINE constexpr T Minus(unsigned n, T value) {
  return On(n) ? static_cast<T>(-value) : value;
}
template <class T>
TOVKIT_MUTANT_INLINE constexpr T Complement(unsigned n, T value) {
  return On(n) ? static_cast<T>(~value) : value;
}

}  // namespace tovkit_mutant
