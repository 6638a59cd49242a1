#ifndef VELM_LOG_MACROS_H
#define VELM_LOG_MACROS_H

// How the library's own code logs: with file, line and the enclosing function's qualified name in the record.
// Internal, but for VELM_FUNCTION in the templates of public headers.

#include "velm_log.h"

#include <cstddef>

namespace velm::detail {

// The qualified name of a function, cut at compile time from the compiler's description of it: from
// "bool velm::Path::MakeDirectory(const wxString&)" it keeps "velm::Path::MakeDirectory". A member of a class
// template shows its argument, as in "velm::VELM_List<class velm::VELM_Channel>::Insert".
template <std::size_t N>
class FunctionName {
  public:
    constexpr explicit FunctionName(char const (&pretty)[N])
    {
        std::size_t const end = NameEnd(pretty);
        std::size_t const begin = NameBegin(pretty, end);
        std::size_t out = 0;
        for (std::size_t i = begin; i < end; ++i) {
            if (pretty[i] != '<') {
                _text[out++] = pretty[i];
                continue;
            }
            _text[out++] = '<';
            for (char const * word = "class "; *word != '\0'; ++word) {
                _text[out++] = *word;
            }
            std::size_t const close = Matching(pretty, i);
            Range const argument = TemplateArgument(pretty, {i + 1, close});
            for (std::size_t j = argument.begin; j < argument.end; ++j) {
                _text[out++] = pretty[j];
            }
            _text[out++] = '>';
            i = close;
        }
    }

    constexpr char const * Get() const { return _text; }

  private:
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    static constexpr bool StartsWith(char const (&text)[N], std::size_t at, char const * word)
    {
        for (; *word != '\0'; ++word, ++at) {
            if (at >= N || text[at] != *word) {
                return false;
            }
        }
        return true;
    }

    // Position of the parameter list's bracket.
    static constexpr std::size_t NameEnd(char const (&pretty)[N])
    {
        int depth = 0;
        for (std::size_t i = 0; i + 1 < N; ++i) {
            if (pretty[i] == '<') {
                ++depth;
            } else if (pretty[i] == '>') {
                --depth;
            } else if (depth == 0 && pretty[i] == '(' && !StartsWith(pretty, i, "(anonymous")) {
                return i;
            }
        }
        return N - 1;
    }

    // Behind the result type, if there is one.
    static constexpr std::size_t NameBegin(char const (&pretty)[N], std::size_t end)
    {
        int depth = 0;
        std::size_t begin = 0;
        for (std::size_t i = 0; i < end; ++i) {
            if (pretty[i] == '<') {
                ++depth;
            } else if (pretty[i] == '>') {
                --depth;
            } else if (depth == 0 && (pretty[i] == ' ' || pretty[i] == '*' || pretty[i] == '&')) {
                begin = i + 1;
            }
        }
        return begin;
    }

    static constexpr std::size_t Matching(char const (&pretty)[N], std::size_t open)
    {
        int depth = 0;
        for (std::size_t i = open; i + 1 < N; ++i) {
            depth += pretty[i] == '<' ? 1 : pretty[i] == '>' ? -1 : 0;
            if (depth == 0) {
                return i;
            }
        }
        return N - 1;
    }

    // GCC writes "List<T>::f() [with T = X]" where clang writes "List<X>::f() [T = X]": X in either case.
    static constexpr Range TemplateArgument(char const (&pretty)[N], Range written)
    {
        if (written.end - written.begin != 1 || pretty[written.begin] != 'T') {
            return written;
        }
        for (std::size_t i = written.end; i + 1 < N; ++i) {
            if (StartsWith(pretty, i, "T = ")) {
                std::size_t const begin = i + 4;
                std::size_t end = begin;
                while (end + 1 < N && pretty[end] != ';' && pretty[end] != ']') {
                    ++end;
                }
                return {begin, end};
            }
        }
        return written;
    }

    char _text[2 * N + 16] = {};
};

} // namespace velm::detail

// The enclosing function's qualified name, a char const * that lives as long as the program.
#define VELM_FUNCTION                                                                                        \
    __extension__({                                                                                          \
        static constexpr ::velm::detail::FunctionName<sizeof(__PRETTY_FUNCTION__)> velm_function_name(       \
            __PRETTY_FUNCTION__);                                                                            \
        velm_function_name.Get();                                                                            \
    })

// VELM_LOG(Error)("format", arguments...) and the like for Warning, Message and Info.
#define VELM_LOG(level)                                                                                      \
    if (!wxLog::IsLevelEnabled(wxLOG_##level, wxLOG_COMPONENT)) {                                            \
    } else                                                                                                   \
        wxLogger(wxLOG_##level, __FILE__, __LINE__, VELM_FUNCTION, wxLOG_COMPONENT).Log

#define VELM_LOG_ERROR VELM_LOG(Error)
#define VELM_LOG_WARNING VELM_LOG(Warning)
#define VELM_LOG_MESSAGE VELM_LOG(Message)

// Trace lines: formatted only when debug output is shown.
#define VELM_TRACE(...)                                                                                      \
    do {                                                                                                     \
        if (::velm::Log::GetShowDebug()) {                                                                   \
            ::velm::Log::Trace(::velm::detail::EscapePercent(wxString::Format(__VA_ARGS__)));                \
        }                                                                                                    \
    } while (false)

#define VELM_TRACE_AT(level, ...)                                                                            \
    do {                                                                                                     \
        if (::velm::Log::GetShowDebug()) {                                                                   \
            ::velm::Log::Trace(level, ::velm::detail::EscapePercent(wxString::Format(__VA_ARGS__)));         \
        }                                                                                                    \
    } while (false)

namespace velm::detail {

// Doubles every "%", as the text of Log's operations needs.
VELM_API wxString EscapePercent(wxString text);

// What an exception says, as text: a VELM_Error's message as it is, any other's what() as UTF-8.
VELM_API wxString ExceptionText(std::exception const & error);

} // namespace velm::detail

#endif
