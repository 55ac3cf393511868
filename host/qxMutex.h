// The host's mutex classes. A host defines enter, leave, init and the destructor of qxLocalMutex;
// everything else stands here.
#ifndef HOST_QXMUTEX_H
#define HOST_QXMUTEX_H

/// What every mutex of the host offers. Holds nothing but its virtual table pointer.
class qxMutexBase {
public:
    qxMutexBase() {}

    /// Takes the lock, waiting for it where another thread holds it.
    virtual void enter() = 0;

    /// Gives the lock back. Called by the thread that entered.
    virtual void leave() = 0;

    /// Prepares the lock for use; called once, after construction. The result is the host's own.
    virtual int init() = 0;

    /// Lets a host check that the lock is held, naming the place that asks. Does nothing here.
    virtual void assertLocked(const char*) {}

    virtual ~qxMutexBase() {}
};

/// A mutex between the threads of one process.
class qxLocalMutex : public qxMutexBase {
public:
    /// @param reentrant true when the thread that holds the lock may enter again (each enter wants
    ///        its own leave); false when a second enter by the same thread is a fault.
    qxLocalMutex(bool reentrant) : _words{nullptr, nullptr}, _reentrant(reentrant) {}

    void enter() override;
    void leave() override;
    int init() override;
    ~qxLocalMutex() override;

    qxLocalMutex(const qxLocalMutex&) = delete;
    qxLocalMutex& operator=(const qxLocalMutex&) = delete;

private:
    void* _words[2];  // for the host
    bool _reentrant;  // as given to the constructor
};

#endif
