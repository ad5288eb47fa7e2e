#include <decoding/Snapshot.h>

std::vector<std::string> decoding::Snapshot::Input::errors() const
{
    std::vector<std::string> all;
    if (error)
        all.push_back(*error);
    for (const Stream &stream : streams) {
        if (stream.damaged > 0 && !live)
            all.push_back(name + " " + stream.kind + ": damaged in " + std::to_string(stream.damaged) +
                          (stream.damaged == 1 ? " place" : " places"));
        for (const Output &output : stream.outputs) {
            if (output.error)
                all.push_back(*output.error);
        }
    }
    return all;
}
