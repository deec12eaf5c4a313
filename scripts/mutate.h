// Changes of operators and constants, of which a process chooses one when it starts. scripts/mutate puts them into a file.
// Private to scripts/mutate.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace mutate {

// Returns: the number in the file that says which change is chosen.
inline int ReadChoice() noexcept {
    int choice = 0;
    char digit = 0;
    const int file = open(ORM_CHOICE_FILE, O_RDONLY | O_CLOEXEC);
    while (read(file, &digit, 1) == 1) choice = 10 * choice + digit - '0';
    close(file);
    return choice;
}

inline int g_choice = 0;
// Before all other objects are made.
[[gnu::constructor(101)]] inline void Choose() noexcept { g_choice = ReadChoice(); }

template <int number, class T, class Changed> T Constant(T original, Changed changed) noexcept {
    return g_choice == number ? static_cast<T>(changed) : original;
}

// Stands between the operands of a binary operator, with this operator on both sides: `a + Choice<7, Plus, Minus>() + b`.
// The changes have the numbers from the first one on.
template <int first, class Original, class... Changes> struct Choice {
    template <class A, class B> static decltype(auto) Of(A&& a, B&& b) {
        using Result = decltype(Original::Of(a, b));
        if constexpr (sizeof...(Changes) == 1) {
            return g_choice == first ? static_cast<Result>((Changes::Of(a, b), ...)) : Original::Of(a, b);
        } else {
            return OfTwo<Result, Changes...>(a, b);
        }
    }
    template <class Result, class One, class Two, class A, class B> static Result OfTwo(A&& a, B&& b) {
        if (g_choice == first) return static_cast<Result>(One::Of(a, b));
        return g_choice == first + 1 ? static_cast<Result>(Two::Of(a, b)) : Original::Of(a, b);
    }
};
template <class A, class Operator> struct Left { const A& a; };
template <class B, class Operator> struct Right { const B& b; };

#define MUTATE_OPERATOR(Name, symbol)                                                               \
    struct Name {                                                                                   \
        template <class A, class B> static auto Of(const A& a, const B& b) { return a symbol b; }   \
    };                                                                                              \
    template <class A, int first, class... Operators>                                               \
    Left<A, Choice<first, Operators...>> operator symbol(const A& a, Choice<first, Operators...>) { \
        return {a};                                                                                 \
    }                                                                                               \
    template <class A, int first, class... Operators, class B>                                      \
    auto operator symbol(Left<A, Choice<first, Operators...>> left, const B& b) {                   \
        return Choice<first, Operators...>::Of(left.a, b);                                          \
    }
MUTATE_OPERATOR(Equal, ==)
MUTATE_OPERATOR(Unequal, !=)
MUTATE_OPERATOR(Less, <)
MUTATE_OPERATOR(LessEqual, <=)
MUTATE_OPERATOR(Greater, >)
MUTATE_OPERATOR(GreaterEqual, >=)
MUTATE_OPERATOR(Plus, +)
MUTATE_OPERATOR(Minus, -)
MUTATE_OPERATOR(Times, *)
MUTATE_OPERATOR(Divide, /)
MUTATE_OPERATOR(Modulo, %)
MUTATE_OPERATOR(ShiftLeft, <<)
MUTATE_OPERATOR(ShiftRight, >>)
MUTATE_OPERATOR(And, &)
MUTATE_OPERATOR(Or, |)

// These bind from right to left.
#define MUTATE_ASSIGNMENT(Name, symbol)                                                              \
    struct Name {                                                                                    \
        template <class A, class B> static A& Of(A& a, const B& b) { return a symbol b; }            \
    };                                                                                               \
    template <int first, class... Operators, class B>                                                \
    Right<B, Choice<first, Operators...>> operator symbol(Choice<first, Operators...>, const B& b) { \
        return {b};                                                                                  \
    }                                                                                                \
    template <class A, int first, class... Operators, class B>                                       \
    A& operator symbol(A& a, Right<B, Choice<first, Operators...>> right) {                          \
        return Choice<first, Operators...>::Of(a, right.b);                                          \
    }
MUTATE_ASSIGNMENT(Add, +=)
MUTATE_ASSIGNMENT(Subtract, -=)
#undef MUTATE_OPERATOR
#undef MUTATE_ASSIGNMENT

}  // namespace mutate
