#ifndef HOST_SINKS_IRECORDWRITER_H
#define HOST_SINKS_IRECORDWRITER_H

#include <QtGlobal>

#include <optional>
#include <string>
#include <variant>

/// Writes the records of one stream to one kind of file. Owned by a sink, which calls it on its worker only and in the
/// order of the stream, and not again except for finish() after a failure that is final. @tparam Header of the records.
template <class Header>
class IRecordWriter {
public:
    /// Bytes written, or one line that names the file and what is wrong with it.
    using Result = std::variant<quint64, std::string>;

    virtual ~IRecordWriter() = default;

    /// @return what it writes to, for errors. Thread-safe.
    [[nodiscard]] virtual std::string target() const = 0;
    /// Creates the first file. Called once, before the others. @return what is wrong, as above.
    [[nodiscard]] virtual std::optional<std::string> create() = 0;
    /// @param record followed by its bytes in memory. @param blockTimeMs of the block that it was decoded from.
    [[nodiscard]] virtual Result write(const Header &record, qint64 blockTimeMs) = 0;
    /// @return how many records the latest failure has cost, this one and those before that were not in the file yet,
    ///         where there was no room for them: the next one can be tried. 0: the failure is final.
    [[nodiscard]] virtual quint64 leftOut() const { return 0; }
    /// The stream breaks here: time stamps may begin anew.
    virtual void noteBreak() = 0;
    /// Completes and closes the files. @return what is wrong, as above. Called once, also when a write has failed.
    [[nodiscard]] virtual std::optional<std::string> finish() = 0;
};

#endif
