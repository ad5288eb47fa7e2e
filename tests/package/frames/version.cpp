#include <cstdio>
#include <cstring>

#include <decoding/Version.h>

/// Whether the headers of the package are those of its library.
int main()
{
    std::printf("headers %s, library %s\n", DECODING_VERSION, decoding::version());
    return std::strcmp(DECODING_VERSION, decoding::version()) == 0 ? 0 : 1;
}
