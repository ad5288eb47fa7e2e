#ifndef HOST_SINKS_IRECORDWRITER_H
#define HOST_SINKS_IRECORDWRITER_H

#include <QtGlobal>

#include <optional>
#include <string>
#include <variant>

/// Writes the records of one stream to one kind of file. Owned by a sink, which calls it on its worker only and in the
/// order of the stream, and not again but for finish() after a failure that will not pass. @tparam Header of the
/// records.
template <class Header>
class IRecordWriter {
public:
    /// Bytes written, or one line that names the file and what is wrong with it.
    using Result = std::variant<quint64, std::string>;

    virtual ~IRecordWriter() = default;

    /// @param record followed by its bytes in memory. @param blockTimeMs of the block that it was decoded from.
    [[nodiscard]] virtual Result write(const Header &record, qint64 blockTimeMs) = 0;
    /// Whether the failure of the latest write may pass, since there was no room: the next record can be tried. What
    /// was written before is whole then, and the record is left out.
    [[nodiscard]] virtual bool mayGoOn() const { return false; }
    /// The stream breaks here: time stamps may begin anew.
    virtual void noteBreak() = 0;
    /// Completes and closes the files. @return what is wrong, as above. Called once, also when a write has failed.
    [[nodiscard]] virtual std::optional<std::string> finish() = 0;
};

#endif
