#pragma once

namespace platform {

// Sends what is written to standard error to nowhere while it lives. Some
// libraries print their own line for a fault that the caller reports
// better; the rest of the time standard error is left alone.
class MutedStandardError
{
public:
    MutedStandardError();
    ~MutedStandardError();
    MutedStandardError(const MutedStandardError &) = delete;
    MutedStandardError &operator=(const MutedStandardError &) = delete;

private:
    int saved = -1;
};

} // namespace platform
