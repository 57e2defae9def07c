#ifndef DEVICE_DETACH_H
#define DEVICE_DETACH_H

/// Lets a program that listens go on in the background: the one that was started ends when it is
/// ready, with status 0, or else with its status.
class Detachment
{
public:
    /// Forks if the arguments have --detach.
    Detachment(int argc, char *argv[]);

    /// Lets the program that was started end. From now on nothing is printed.
    void complete() const;

private:
    int m_pipe = -1; ///< To the program that was started.
};

#endif
