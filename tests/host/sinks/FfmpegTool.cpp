#include "host/sinks/FfmpegTool.h"

#include <array>
#include <cstdio>

#include <gmock/gmock.h>

QByteArray FfmpegTool::run(const std::string &arguments)
{
    const std::string command = "ffmpeg -nostdin -v error -y " + arguments;
    QByteArray output;
    std::FILE *const pipe = popen(command.c_str(), "r");
    std::array<char, 4096> part = {};
    for (std::size_t size = 0; pipe && (size = std::fread(part.data(), 1, part.size(), pipe)) > 0;)
        output.append(part.data(), static_cast<int>(size));
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << command;
    return output;
}

QByteArray FfmpegTool::frameMd5(const std::string &path, const std::string &specifier)
{
    return run("-threads 1 -i '" + path + "' -map " + specifier +
               " -vsync passthrough -autoscale 0 -bitexact -f framemd5 -");
}
