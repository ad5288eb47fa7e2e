#include "terminal/TerminalType.h"

#include <curses.h>
// Behind all others: its macros are plain words.
#include <term.h>

namespace {

/// @return the capability's text without the delays it asks for; empty where the terminal has not got it.
std::string textOf(const char *capability)
{
    const char *const value = tigetstr(capability);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the library says of a capability that is no text
    if (!value || value == reinterpret_cast<const char *>(-1))
        return std::string();
    std::string text(value);
    for (std::size_t delay = text.find("$<"); delay != std::string::npos; delay = text.find("$<", delay)) {
        const std::size_t end = text.find('>', delay);
        text.erase(delay, end == std::string::npos ? end : end - delay + 1);
    }
    return text;
}

} // namespace

std::variant<TerminalType, std::string> TerminalType::of(const std::string &name, int file)
{
    if (name.empty())
        return "TERM does not say what terminal this is";
    int problem = 0;
    if (setupterm(name.c_str(), file, &problem) != OK)
        return "the terminal \"" + name + "\", which TERM names, is unknown";
    const bool canPlaceCursor = !textOf("cup").empty();
    const TerminalType type{textOf("sgr0") + textOf("cnorm") + textOf("rmkx") + textOf("rmcup")};
    del_curterm(cur_term);
    if (!canPlaceCursor)
        return "the terminal \"" + name + "\", which TERM names, cannot place its cursor";
    return type;
}
