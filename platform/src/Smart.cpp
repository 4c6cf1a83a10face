#include <kqm/Smart.h>

namespace kqm {

SmartHandleCore::~SmartHandleCore()
{
    reset();
}

void SmartHandleCore::createGroup(void* pointee, Deleter deleter)
{
    reset();
    if (!pointee)
        return; // an empty group needs no bookkeeping
    m_group = new Group;
    m_group->object = pointee;
    m_group->deleter = deleter;
    m_pointee = pointee;
}

void SmartHandleCore::joinGroup(const SmartHandleCore& other, void* pointee)
{
    Group* group = other.m_group;
    void* view = pointee ? pointee : other.m_pointee;
    if (group)
        group->members.fetch_add(1, std::memory_order_relaxed);
    reset();
    m_group = group;
    m_pointee = group ? view : nullptr;
}

void SmartHandleCore::reset()
{
    Group* group = m_group;
    m_group = nullptr;
    m_pointee = nullptr;
    if (group && group->members.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        if (group->deleter)
            group->deleter(group->object);
        delete group;
    }
}

} // namespace kqm
