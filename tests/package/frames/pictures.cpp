#include <cstdio>

#include <decoding/Session.h>

int main(int, char **argv)
{
    decoding::Session session;
    const auto input = session.open(argv[1]);
    while (const auto frame = input->video().next())
        std::printf("%d x %d %s at %.3f s\n", frame->width(), frame->height(), frame->pixelFormat().c_str(),
                    frame->seconds());
}
