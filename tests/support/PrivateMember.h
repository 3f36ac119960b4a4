// The way to a private member that no public one leads to: an explicit instantiation may name it.
#pragma once

template <class Tag, auto Member>
struct PrivateMember
{
    friend constexpr auto Reach(Tag) { return Member; }
};

// PRIVATE_MEMBER: name() is the pointer to a member of a class.
#define PRIVATE_MEMBER(name, class_name, member)                                                                                   \
    struct name##Tag                                                                                                               \
    {                                                                                                                              \
        friend constexpr auto Reach(name##Tag);                                                                                    \
    };                                                                                                                             \
    template struct PrivateMember<name##Tag, &class_name::member>;                                                                 \
    constexpr auto name() { return Reach(name##Tag{}); }                                                                           \
    static_assert(true)
