#pragma once

// The qualified name of the enclosing function, without result type and arguments
// ("zan::Time::toString"), as a terminated text of static duration, worked out by the compiler.
//
// Usable inside function bodies only.
#define ZAN_FUNC                                                                               \
    (__extension__({                                                                           \
        static constexpr auto zanFuncName_ = ::zan::detail::functionName(__PRETTY_FUNCTION__); \
        zanFuncName_.text;                                                                     \
    }))

// Three arguments in one: file, line and function of this statement.
#define ZAN_HERE __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC

namespace zan::detail {

template <unsigned long N>
struct FunctionName {
    char text[N] = {};
};

constexpr bool isNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// True where the bytes before `end` spell the keyword `operator` as a word of its own.
constexpr bool endsWithOperator(char const* s, unsigned long end) {
    constexpr char word[] = "operator";
    constexpr unsigned long n = sizeof(word) - 1;
    if (end < n) return false;
    for (unsigned long i = 0; i < n; ++i)
        if (s[end - n + i] != word[i]) return false;
    return end == n || !isNameChar(s[end - n - 1]);
}

// "void zan::A<T>::f(int) const [with T = int]" -> "zan::A<T>::f". Both compilers' forms.
template <unsigned long N>
constexpr FunctionName<N> functionName(char const (&pretty)[N]) {
    FunctionName<N> name;
    unsigned long end = N - 1;
    // The list of template arguments at the very end.
    if (end != 0 && pretty[end - 1] == ']') {
        int depth = 0;
        for (unsigned long i = end; i-- > 0;) {
            if (pretty[i] == ']') ++depth;
            if (pretty[i] == '[' && --depth == 0) {
                if (i != 0 && pretty[i - 1] == ' ') end = i - 1;
                break;
            }
        }
    }
    // The argument list: the last pair of brackets.
    int depth = 0;
    for (unsigned long i = end; i-- > 0;) {
        if (pretty[i] == ')') ++depth;
        if (pretty[i] == '(' && --depth == 0) {
            end = i;
            break;
        }
    }
    // Back over the name to the blank that ends the result type. An operator's own characters are
    // no brackets.
    unsigned long begin = end;
    for (unsigned long i = end; i > 0 && end - i <= 12; --i) {
        if (endsWithOperator(pretty, i)) {
            begin = i - 8;
            break;
        }
        if (isNameChar(pretty[i - 1]) && end - i > 3) break;
    }
    depth = 0;
    while (begin > 0) {
        char const c = pretty[begin - 1];
        if (c == '>' || c == ')' || c == '}') ++depth;
        if (c == '<' || c == '(' || c == '{') --depth;
        if (depth == 0 && (c == ' ' || c == '*' || c == '&')) break;
        --begin;
    }
    for (unsigned long i = begin; i < end; ++i) name.text[i - begin] = pretty[i];
    // A lambda shows as "<lambda(int)>": close the bracket that the cut left open.
    if (depth < 0) name.text[end - begin] = '>';
    return name;
}

}  // namespace zan::detail
