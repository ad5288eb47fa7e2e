#ifndef TESTS_HOST_TERMINAL_TMUX_H
#define TESTS_HOST_TERMINAL_TMUX_H

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <string>
#include <vector>

/// A terminal with a shell in it, run by tmux, whose screen can be read. The shell's locale is UTF-8, its prompt "$ ".
class Tmux final {
public:
    using Screen = std::vector<std::string>; // lines, without the blanks at their ends

    Tmux(int width, int height);
    ~Tmux();
    Tmux(const Tmux &) = delete;
    Tmux &operator=(const Tmux &) = delete;

    /// Gives the shell a command, whose output begins on a line of its own.
    void type(const QString &command) const;
    /// Presses keys, by tmux's names for them.
    void press(const QStringList &keys) const;
    void resize(int width, int height) const;

    [[nodiscard]] Screen screen() const;
    /// The screen as one text, with the sequences for colours and other looks.
    [[nodiscard]] std::string look() const;
    /// Waits until the screen is as @p condition wants it, or fails the calling test after half a minute.
    Screen screenWhen(const std::function<bool(const Screen &)> &condition) const;
    /// The same for a screen with a line that begins with @p text.
    Screen screenWith(const std::string &text) const;

    /// @return what tmux says a format of its own stands for, such as "alternate_on".
    [[nodiscard]] std::string value(const QString &format) const;

private:
    std::string run(const QStringList &arguments) const;

    const QTemporaryDir _folder; // of tmux's socket
};

#endif
