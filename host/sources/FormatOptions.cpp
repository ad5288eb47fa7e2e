#include "sources/FormatOptions.h"

#include <utility>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/opt.h>
}

namespace {

void addNames(const AVClass *ofClass, std::vector<std::string> &names)
{
    const AVOption *option = nullptr;
    // The class itself stands for an object of it.
    while ((option = av_opt_next(&ofClass, option))) {
        if (option->type != AV_OPT_TYPE_CONST && (option->flags & AV_OPT_FLAG_DECODING_PARAM) != 0)
            names.emplace_back(option->name);
    }
    void *iteration = nullptr;
    while (const AVClass *const child = av_opt_child_class_iterate(ofClass, &iteration))
        addNames(child, names);
}

} // namespace

FormatOptions::FormatOptions(std::map<std::string, std::string> asked)
    : _asked(std::move(asked))
{
    for (const auto &[name, value] : _asked)
        av_dict_set(&_dictionary, name.c_str(), value.c_str(), 0);
}

FormatOptions::~FormatOptions()
{
    av_dict_free(&_dictionary);
}

void FormatOptions::set(const std::string &name, const std::string &value)
{
    av_dict_set(&_dictionary, name.c_str(), value.c_str(), AV_DICT_DONT_OVERWRITE);
}

std::optional<std::string> FormatOptions::refused() const
{
    std::string names;
    for (const auto &[name, value] : _asked) {
        if (av_dict_get(_dictionary, name.c_str(), nullptr, AV_DICT_MATCH_CASE))
            names += (names.empty() ? "" : ", ") + name;
    }
    return names.empty() ? std::nullopt : std::optional(names);
}

std::string FormatOptions::formatsBut(const std::set<std::string> &others)
{
    std::string names;
    void *iteration = nullptr;
    while (const AVInputFormat *const format = av_demuxer_iterate(&iteration)) {
        if (others.count(format->name) == 0)
            names += (names.empty() ? "" : ",") + std::string(format->name);
    }
    return names;
}

std::vector<std::string> FormatOptions::names()
{
    std::vector<std::string> names;
    addNames(avformat_get_class(), names);
    return names;
}
