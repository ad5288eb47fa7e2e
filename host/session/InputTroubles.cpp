#include "session/InputTroubles.h"

#include <algorithm>
#include <chrono>
#include <utility>

InputTroubles::InputTroubles(const std::string &inputName)
    : _prefix(inputName + ": ")
{
}

void InputTroubles::add(std::vector<Report> reports)
{
    for (Report &report : reports) {
        if (report.isError)
            _reportedErrors.insert(report.text);
        _reports.push_back(std::move(report));
    }
}

void InputTroubles::addUnreported(const std::vector<std::string> &errors)
{
    for (const std::string &error : errors) {
        // What was reported while it went on has no count behind it.
        const bool isReported =
            std::any_of(_reportedErrors.begin(), _reportedErrors.end(), [&error](const std::string &reported) {
                return error.compare(0, reported.size(), reported) == 0;
            });
        if (!isReported)
            add({{error, true}});
    }
}

std::vector<Report> InputTroubles::take()
{
    return std::exchange(_reports, {});
}

void InputTroubles::note(const std::string &error)
{
    const bool isNamed = error.compare(0, _prefix.size(), _prefix) == 0;
    const std::string text = isNamed ? error.substr(_prefix.size()) : error;
    if (!_last || _last->text != text)
        _last = {std::chrono::system_clock::now(), text};
}
