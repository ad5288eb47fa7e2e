#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The folders of the host, the lowest layer first.
const std::vector<std::string> layers{"threads", "modkit", "slab",    "indications", "media",   "format", "queues",
                                      "sources", "sinks",  "session", "terminal",    "control", "cli"};
const std::string publicHeaders("decoding"); // the folder session/decoding

/// @return the folders whose headers those of @p folder may include.
std::set<std::string> allowed(const std::string &folder)
{
    static const std::map<std::string, std::set<std::string>> narrow{
        {publicHeaders, {publicHeaders}},
        {"modkit", {"modkit"}},
        {"slab", {"slab"}},
        {"indications", {"indications", "modkit", "threads"}},
        {"terminal", {"terminal", "threads", publicHeaders}},
        {"control", {"control", "threads", publicHeaders}},
    };
    const auto found = narrow.find(folder);
    if (found != narrow.end())
        return found->second;
    std::set<std::string> folders(layers.begin(), std::find(layers.begin(), layers.end(), folder));
    folders.insert(folder);
    if (folders.count("session") > 0)
        folders.insert(publicHeaders);
    return folders;
}

bool isAllowed(const std::string &folder, const std::string &header)
{
    const std::string ofHeader = header.substr(0, header.find('/'));
    if (ofHeader == "..")
        return false;
    const bool isOfHost =
        ofHeader == publicHeaders || std::find(layers.begin(), layers.end(), ofHeader) != layers.end();
    const bool showsTexts = folder == "terminal" || folder == "control";
    const bool isForTexts =
        header == "media/SafeText.h" || header == "media/ClockTime.h" || header == "media/ShownUrl.h";
    return !isOfHost || allowed(folder).count(ofHeader) > 0 || (showsTexts && isForTexts);
}

/// @return the layer of the file; empty for a file that is in none.
std::string folderOf(const fs::path &fileInHost)
{
    const std::string text = fileInHost.generic_string();
    if (text.rfind("session/" + publicHeaders + '/', 0) == 0)
        return publicHeaders;
    const std::string folder = text.substr(0, text.find('/'));
    return std::find(layers.begin(), layers.end(), folder) != layers.end() ? folder : std::string();
}

bool isSource(const fs::path &file)
{
    return file.extension() == ".h" || file.extension() == ".cpp" || file.extension() == ".in";
}

/// Whether programs without Qt and FFmpeg can compile a public header with the line. @param header that it includes.
bool isPublic(const std::string &header)
{
    static const std::regex standard("[a-z_0-9]+");
    return header.rfind(publicHeaders + '/', 0) == 0 || std::regex_match(header, standard);
}

/// @return the first name of Qt's or FFmpeg's in @p line, outside of a comment; empty without one.
std::string foreignName(const std::string &line)
{
    static const std::regex name(
        "\\b(Q[A-Z][A-Za-z]*|q(u?int(8|16|32|64|ptr)|real|size_?type)|AV[A-Z]\\w*|av_\\w+)\\b");
    const std::string code = line.substr(0, line.find("//"));
    std::smatch match;
    return std::regex_search(code, match, name) ? match[1].str() : std::string();
}

/// @return for each include that its layer forbids, one line; one for each source in a folder that is no layer; and one
///         for each line of a public header that is not for every program.
std::vector<std::string> offences(const fs::path &host)
{
    static const std::regex include("\\s*#\\s*include\\s*([\"<])([^\">]+)[\">].*");
    std::vector<std::string> found;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(host)) {
        if (!entry.is_regular_file() || !isSource(entry.path()))
            continue;
        const fs::path name = entry.path().lexically_relative(host);
        const std::string folder = folderOf(name);
        if (folder.empty()) {
            found.push_back(name.generic_string() + ": is in no layer");
            continue;
        }
        std::ifstream file(entry.path());
        std::string line;
        for (int number = 1; std::getline(file, line); ++number) {
            const std::string place = name.generic_string() + ':' + std::to_string(number);
            std::smatch match;
            if (std::regex_match(line, match, include)) {
                const std::string header = match[2];
                // Without a folder, it would be looked for in that of the source, or in any other.
                const bool isInBrackets = match[1] == "<";
                const bool hasFolder = isInBrackets || header.find('/') != std::string::npos;
                if (!hasFolder || !isAllowed(folder, header) ||
                    (folder == publicHeaders && !(isInBrackets && isPublic(header))))
                    found.push_back(place + ": includes " + header);
            } else if (folder == publicHeaders && !foreignName(line).empty()) {
                found.push_back(place + ": names " + foreignName(line));
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

/// Folders with made-up sources.
class LayersTest : public testing::Test {
protected:
    LayersTest() { fs::create_directories(_host); }
    ~LayersTest() override { fs::remove_all(_host); }

    void write(const std::string &name, const std::string &text) const
    {
        fs::create_directories((_host / name).parent_path());
        std::ofstream(_host / name) << text;
    }

    const fs::path _host = fs::path(testing::TempDir()) / ("layers-" + std::to_string(getpid()));
};

} // namespace

TEST_F(LayersTest, LetAFolderIncludeFromItselfAndFromThoseBeforeIt)
{
    write("sinks/A.cpp", "#include \"sinks/A.h\"\n#include <QString>\n#include \"modkit/B.h\"\n#include \"slab/B.h\"\n"
                         "#include \"sources/B.h\"\n#include <sys/stat.h>\n#include \"interfaces/I.h\"\n");
    write("session/A.cpp", "#include <decoding/Snapshot.h>\n#include \"sinks/A.h\"\n");
    write("session/decoding/A.h",
          "#include <decoding/B.h>\n#include <string>\n#include <cstdint>\nstd::string a; // QString\n");
    write("indications/A.cpp", "#include \"modkit/B.h\"\n");
    write("terminal/A.cpp", "#include <decoding/B.h>\n#include \"media/SafeText.h\"\n");
    write("control/A.cpp", "#include <decoding/B.h>\n#include \"media/SafeText.h\"\n#include \"media/ShownUrl.h\"\n");
    write("cli/A.cpp", "#include <decoding/B.h>\n#include \"control/B.h\"\n#include \"session/B.h\"\n");
    EXPECT_THAT(offences(_host), IsEmpty());
}

TEST_F(LayersTest, LetNoFolderIncludeFromThoseBehindIt)
{
    write("sinks/A.cpp", "#include \"sinks/A.h\"\n\n  # include \"session/B.h\" // why\n#include <decoding/B.h>\n");
    write("format/A.h", "#include \"queues/B.h\"\n");
    write("session/A.h", "#include \"cli/B.h\"\n#include \"terminal/B.h\"\n");
    write("media/A.h", "#include \"../session/B.h\"\n");
    EXPECT_THAT(offences(_host),
                ElementsAre("format/A.h:1: includes queues/B.h", "media/A.h:1: includes ../session/B.h",
                            "session/A.h:1: includes cli/B.h", "session/A.h:2: includes terminal/B.h",
                            "sinks/A.cpp:3: includes session/B.h", "sinks/A.cpp:4: includes decoding/B.h"));
}

TEST_F(LayersTest, KeepTheLowestOnesApart)
{
    write("modkit/A.h", "#include \"slab/B.h\"\n");
    write("slab/A.h", "#include \"modkit/B.h\"\n");
    write("indications/A.h", "#include \"slab/B.h\"\n");
    EXPECT_THAT(offences(_host), ElementsAre("indications/A.h:1: includes slab/B.h", "modkit/A.h:1: includes slab/B.h",
                                             "slab/A.h:1: includes modkit/B.h"));
}

TEST_F(LayersTest, LetClientsSeeOfTheLibraryOnlyItsPublicHeaders)
{
    write("terminal/A.h", "#include \"session/B.h\"\n#include \"media/FileSet.h\"\n#include \"indications/Light.h\"\n");
    write("control/A.h", "#include \"terminal/B.h\"\n");
    write("session/decoding/A.h", "#include \"session/B.h\"\n#include <media/B.h>\n");
    write("session/decoding/A.h.in", "#include \"slab/B.h\"\n");
    EXPECT_THAT(offences(_host),
                ElementsAre("control/A.h:1: includes terminal/B.h", "session/decoding/A.h.in:1: includes slab/B.h",
                            "session/decoding/A.h:1: includes session/B.h",
                            "session/decoding/A.h:2: includes media/B.h", "terminal/A.h:1: includes session/B.h",
                            "terminal/A.h:2: includes media/FileSet.h",
                            "terminal/A.h:3: includes indications/Light.h"));
}

TEST_F(LayersTest, KeepQtAndFfmpegOutOfPublicHeaders)
{
    write("session/decoding/A.h", "#include <QString>\n#include <libavutil/frame.h>\n#include <sys/stat.h>\n"
                                  "#include <stdint.h>\nclass QByteArray;\nstruct AVFrame;\nqint64 a();\n");
    write("session/decoding/B.h", "#include \"decoding/A.h\"\n#include \"interfaces/I.h\"\n");
    EXPECT_THAT(offences(_host),
                ElementsAre("session/decoding/A.h:1: includes QString",
                            "session/decoding/A.h:2: includes libavutil/frame.h",
                            "session/decoding/A.h:3: includes sys/stat.h", "session/decoding/A.h:4: includes stdint.h",
                            "session/decoding/A.h:5: names QByteArray", "session/decoding/A.h:6: names AVFrame",
                            "session/decoding/A.h:7: names qint64", "session/decoding/B.h:1: includes decoding/A.h",
                            "session/decoding/B.h:2: includes interfaces/I.h"));
}

TEST_F(LayersTest, LetEveryIncludeNameItsFolder)
{
    write("cli/A.cpp", "#include \"InputRun.h\"\n#include \"A.h\"\n#include <QString>\n");
    EXPECT_THAT(offences(_host), ElementsAre("cli/A.cpp:1: includes InputRun.h", "cli/A.cpp:2: includes A.h"));
}

TEST_F(LayersTest, AreAllThereIs)
{
    write("utils/A.cpp", "#include \"cli/B.h\"\n");
    EXPECT_THAT(offences(_host), ElementsAre("utils/A.cpp: is in no layer"));
}

TEST(Layers, AreKeptByTheHost)
{
    for (const std::string &layer : layers)
        EXPECT_TRUE(fs::is_directory(fs::path(HOST_DIR) / layer)) << layer;
    const std::vector<std::string> found = offences(HOST_DIR);
    for (const std::string &offence : found)
        ADD_FAILURE() << offence;
}
