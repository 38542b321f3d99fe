// Static objects that outlive every user.
#pragma once

#include <new>
#include <utility>

namespace vdx {

// Holds a T that is never destroyed: for statics that other static objects may
// still use while they are destroyed at the end of the process.
template <class T>
class NoDestructor {
public:
    template <class... Args>
    explicit NoDestructor(Args&&... args) {
        ::new (static_cast<void*>(m_storage)) T(std::forward<Args>(args)...);
    }
    T& get() { return *std::launder(reinterpret_cast<T*>(m_storage)); }

private:
    alignas(T) unsigned char m_storage[sizeof(T)];
};

}  // namespace vdx
