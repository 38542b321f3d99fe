// The one way in which process-wide objects are created.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/no_destructor.h"

namespace vdx {

// The bookkeeping of one singleton: who creates it, and whether it exists.
//
// The first caller of getInstance creates the object, outside the static-object
// lock, so that its constructor may take other locks. A second thread that comes
// meanwhile polls every 50 ms. The creating thread itself coming again is a
// mistake that cannot be cured: one red line and vdxAbort.
class SingletonGate {
public:
    enum class Verdict { AlreadyMade, First, SameThreadAgain, OtherThread };

    constexpr SingletonGate() = default;

    void* find() const { return m_pObject.load(std::memory_order_acquire); }
    Verdict enter();
    void publish(void* pObject);
    void abandon();  // Creation failed: the next caller is the first again.

    static void pause();  // Between two looks for what another thread creates.

    // Whether another thread is creating some singleton now. A fork waits until none
    // is: the child would wait for a creator that it does not have. Under the
    // static-object lock the answer can only turn from true to false.
    static bool isCreatingElsewhere();

    // Writes "[E:] re-enter static instance of <name>" and ends the process.
    [[noreturn]] static void abortReentry(bool bToStderr, const char* szName);

private:
    std::atomic<void*> m_pObject{nullptr};
    std::uint64_t m_idOwnerThread = 0;  // Under the static-object lock; 0: nobody yet.
};

// The instance of T. T gives its name for the re-entry line as
//   static constexpr const char* SINGLETON_NAME = "...";
// and may say where that line goes by `static constexpr bool SINGLETON_STDERR`
// (standard error by default). T's constructor may be private: befriend
// vdx::NoDestructor<T>.
//
// The storage is never torn down under late users. An object with something to
// do at the end of the process has a member OnProcessExit(), which runs when
// static objects are destroyed.
template <class T>
class Singleton {
public:
    static T& getInstance() {
        void* pFound = s_gate.find();
        return *static_cast<T*>(pFound ? pFound : create());
    }

    // The instance if it exists already, else null. Creates nothing.
    static T* findInstance() { return static_cast<T*>(s_gate.find()); }

private:
    static void* create() {
        for (;;) {
            switch (s_gate.enter()) {
                case SingletonGate::Verdict::First:
                    return make();
                case SingletonGate::Verdict::OtherThread:
                    SingletonGate::pause();
                    break;
                case SingletonGate::Verdict::SameThreadAgain:
                    SingletonGate::abortReentry(toStderr(), T::SINGLETON_NAME);
                case SingletonGate::Verdict::AlreadyMade:
                    return s_gate.find();
            }
        }
    }

    // A constructor that runs out of memory leaves nothing behind but a second try.
    static T& construct() try {
        static NoDestructor<T> s_objObject;
        return s_objObject.get();
    } catch (...) {
        s_gate.abandon();
        throw;
    }

    static void* make() {
        T* pObject = &construct();
        s_gate.publish(pObject);
        if constexpr (requires { pObject->OnProcessExit(); }) {
            struct ExitHook {
                T* pOwner;
                ~ExitHook() { pOwner->OnProcessExit(); }
            };
            static ExitHook s_hook{pObject};
        }
        return pObject;
    }

    static constexpr bool toStderr() {
        if constexpr (requires { T::SINGLETON_STDERR; }) {
            return T::SINGLETON_STDERR;
        } else {
            return true;
        }
    }

    static inline constinit SingletonGate s_gate{};
};

}  // namespace vdx
