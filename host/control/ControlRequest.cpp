#include "control/ControlRequest.h"

#include <algorithm>
#include <array>

#include "control/ControlLine.h"
#include "media/ShownUrl.h"

namespace {

using ControlRequest::Any;
using Words = std::vector<std::string>;

/// @return nothing when the arguments, @p words but the first, cannot be taken.
using Reader = std::optional<Any> (*)(const Words &words);

std::optional<Any> readAdd(const Words &words)
{
    if (words[1].empty() || (words.size() > 2 && words[2].empty()))
        return std::nullopt;
    return ControlRequest::Add{words[1], words.size() > 2 ? std::optional(words[2]) : std::nullopt};
}

std::optional<Any> readRemove(const Words &words)
{
    return ControlRequest::Remove{words[1]};
}

std::optional<Any> readMode(const Words &words)
{
    for (const decoding::Mode mode : {decoding::Mode::Performance, decoding::Mode::TimeSaving}) {
        if (words[1] == decoding::toText(mode))
            return ControlRequest::Mode{mode};
    }
    return std::nullopt;
}

std::optional<Any> readGovernor(const Words &words)
{
    if (words[1] != "on" && words[1] != "off")
        return std::nullopt;
    return ControlRequest::Governor{words[1] == "on"};
}

template <class Request>
std::optional<Any> readPlain(const Words & /*words*/)
{
    return Request();
}

struct Form {
    const char *name;
    const char *arguments;
    std::size_t minArguments;
    std::size_t maxArguments;
    Reader read;
    const char *effect;
};

const std::array<Form, 8> forms{{
    {"add", " URL [NAME]", 1, 2, readAdd, "decode one more input, and tell its name"},
    {"remove", " NAME", 1, 1, readRemove, "end an input"},
    {"list", "", 0, 0, readPlain<ControlRequest::List>,
     "a line for each stream: input, kind, state, frames, frames per second, lost blocks, latency and worst latency in "
     "milliseconds, mode, frames that outputs dropped, damaged, frames not written, codec and size, connections, last "
     "error with its time"},
    {"status", "", 0, 0, readPlain<ControlRequest::Status>, "the figures of the whole host"},
    {"mode", " performance|time-saving", 1, 1, readMode, "decode every block, or key blocks only"},
    {"governor", " on|off", 1, 1, readGovernor, "let the CPU load choose the mode, or not"},
    {"quit", "", 0, 0, readPlain<ControlRequest::Quit>, "end the host"},
    {"help", "", 0, 0, readPlain<ControlRequest::Help>, "these lines"},
}};

} // namespace

std::variant<Any, std::string> ControlRequest::parse(const Words &words)
{
    if (words.empty())
        return std::string("the request is empty; try help");
    const auto *const form =
        std::find_if(forms.begin(), forms.end(), [&words](const Form &known) { return words[0] == known.name; });
    if (form == forms.end())
        return "there is no request \"" + ControlLine::field(ShownUrl::withoutSecrets(words[0])) + "\"; try help";
    const std::size_t arguments = words.size() - 1;
    std::optional<Any> request;
    if (arguments >= form->minArguments && arguments <= form->maxArguments)
        request = form->read(words);
    if (!request)
        return "the request is: " + std::string(form->name) + form->arguments;
    return *request;
}

std::vector<std::string> ControlRequest::help()
{
    std::vector<std::string> lines;
    lines.reserve(forms.size());
    for (const Form &form : forms)
        lines.push_back(std::string(form.name) + form.arguments + ": " + form.effect);
    return lines;
}
