#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::IsEmpty;

/// @return what the built library shows to programs, demangled.
std::vector<std::string> exportedSymbols()
{
    std::vector<std::string> symbols;
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(
        ::popen("nm -D -C --defined-only --format=posix '" LIBRARY_FILE "'", "r"), &::pclose);
    std::string line;
    for (int character = pipe ? std::fgetc(pipe.get()) : EOF; character != EOF; character = std::fgetc(pipe.get())) {
        if (character != '\n') {
            line += static_cast<char>(character);
            continue;
        }
        // `decoding::version() T 12340 20`: a letter, an address and a size follow the name.
        for (int field = 0; field < 3; ++field)
            line.erase(line.find_last_of(' '));
        symbols.push_back(line);
        line.clear();
    }
    return symbols;
}

bool isOfTheLibrary(std::string symbol)
{
    for (const std::string prefix : {"typeinfo for ", "typeinfo name for ", "vtable for "}) {
        if (symbol.compare(0, prefix.size(), prefix) == 0)
            symbol.erase(0, prefix.size());
    }
    return symbol.compare(0, 10, "decoding::") == 0;
}

} // namespace

TEST(ExportedSymbols, AreThoseOfThePublicNamespaceOnly)
{
    std::vector<std::string> others;
    for (const std::string &symbol : exportedSymbols()) {
        if (!isOfTheLibrary(symbol))
            others.push_back(symbol);
    }
    EXPECT_THAT(others, IsEmpty());
}

TEST(ExportedSymbols, AreNothingThatPublicHeadersDoNotDeclare)
{
    for (const std::string &symbol : exportedSymbols()) {
        EXPECT_EQ(symbol.find("::Source::"), std::string::npos) << symbol;
        EXPECT_EQ(symbol.find("::Memory::"), std::string::npos) << symbol;
        EXPECT_EQ(symbol.find("::Core::"), std::string::npos) << symbol;
        EXPECT_EQ(symbol.find("makeFrame"), std::string::npos) << symbol;
    }
}

TEST(ExportedSymbols, AreAllThatAProgramNeeds)
{
    const std::vector<std::string> symbols = exportedSymbols();
    EXPECT_THAT(symbols, Contains("decoding::version()"));
    EXPECT_THAT(symbols, Contains("typeinfo for decoding::Error"));
    EXPECT_THAT(symbols, Contains("vtable for decoding::Error"));
    EXPECT_THAT(symbols, Contains("decoding::FrameReader<decoding::VideoFrame>::next()"));
    EXPECT_THAT(symbols, Contains("decoding::FrameReader<decoding::AudioFrame>::descriptor() const"));
    EXPECT_THAT(symbols, Contains("decoding::VideoFrame::plane(int) const"));
    EXPECT_THAT(symbols, Contains("decoding::Snapshot::Input::errors[abi:cxx11]() const"));
}
