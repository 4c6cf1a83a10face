// Shared handles with group ownership.
//
// All handles on one pointee form a group; the last member to leave destroys
// the pointee through the deleter given when the group was created. Group
// membership is counted atomically, so handles may be copied and dropped on
// several threads; the pointee itself is not made thread-safe by this.
#pragma once

#include <kq/kqplatform_export.h>

#include <atomic>
#include <type_traits>

namespace kqm {

class KQPLATFORM_EXPORT SmartHandleCore {
public:
    using Deleter = void (*)(void*);

protected:
    SmartHandleCore() = default;
    ~SmartHandleCore();
    SmartHandleCore(const SmartHandleCore&) = delete;
    SmartHandleCore& operator=(const SmartHandleCore&) = delete;

    // Starts a new group of which this core is the only member. No pointee
    // makes an empty group, which costs nothing.
    void createGroup(void* pointee, Deleter deleter);
    // Leaves the current group and joins other's. The pointee argument lets a
    // converting handle keep its own (adjusted) view of the shared object;
    // null means other's pointee.
    void joinGroup(const SmartHandleCore& other, void* pointee);
    // Leaves the group; the last member destroys the pointee.
    void reset();

    void* pointee() const { return m_pointee; }

private:
    struct Group {
        std::atomic<int> members { 1 };
        void* object = nullptr;
        Deleter deleter = nullptr;
    };
    Group* m_group = nullptr;
    void* m_pointee = nullptr;
};

template <class T>
class smart : public SmartHandleCore {
public:
    smart() { createGroup(nullptr, nullptr); }
    // Takes ownership of a heap object.
    explicit smart(T* object)
    {
        createGroup(const_cast<void*>(static_cast<const void*>(object)), object ? &destroy : nullptr);
    }
    smart(const smart& other) { joinGroup(other, nullptr); }
    // A handle converts to a handle on a base class or on the const type.
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    smart(const smart<U>& other)
    {
        T* adjusted = other.get();
        joinGroup(other, const_cast<void*>(static_cast<const void*>(adjusted)));
    }
    ~smart() { reset(); }

    smart& operator=(const smart& other)
    {
        if (this != &other)
            joinGroup(other, nullptr);
        return *this;
    }

    // Leaves the group and starts a fresh empty one.
    void clear()
    {
        reset();
        createGroup(nullptr, nullptr);
    }

    bool null() const { return pointee() == nullptr; }
    T* get() const { return static_cast<T*>(pointee()); }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    explicit operator bool() const { return !null(); }

    template <class U>
    bool operator==(const smart<U>& other) const
    {
        return get() == other.get();
    }
    template <class U>
    bool operator!=(const smart<U>& other) const
    {
        return get() != other.get();
    }

private:
    template <class U>
    friend class smart;
    static void destroy(void* object) { delete static_cast<T*>(object); }
};

} // namespace kqm
