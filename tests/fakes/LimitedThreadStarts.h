#ifndef FAKES_LIMITEDTHREADSTARTS_H
#define FAKES_LIMITEDTHREADSTARTS_H

/// While it lives, so many starts of a QThread succeed, and the next one throws std::runtime_error. One at a time, on
/// one thread.
class LimitedThreadStarts {
public:
    explicit LimitedThreadStarts(int limit);
    ~LimitedThreadStarts();
    LimitedThreadStarts(const LimitedThreadStarts &) = delete;
    LimitedThreadStarts &operator=(const LimitedThreadStarts &) = delete;
};

#endif
