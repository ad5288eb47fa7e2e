#include <cstdlib>
#include <exception>
#include <iostream>

#include <decoding/Session.h>

/// What a program pays that pulls its frames from the library: decodes the video of a file as often as it is told, on
/// one decoder thread, and lets go of every picture at once. Prints how many there were.
int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: reader_bench FILE REPEAT\n";
        return 2;
    }
    try {
        decoding::SessionOptions threads;
        threads.threads = 1;
        decoding::Session session(threads);
        decoding::InputOptions options;
        options.audio = false;
        options.repeat = std::atoi(argv[2]);
        const auto input = session.open(argv[1], options);
        long count = 0;
        while (input->video().next())
            ++count;
        if (const auto error = input->error())
            throw decoding::Error(*error);
        std::cout << "frames " << count << '\n';
        return 0;
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
