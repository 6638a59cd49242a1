#ifndef TESTS_SUPPORT_PRIVATE_ACCESS_H
#define TESTS_SUPPORT_PRIVATE_ACCESS_H

// Lets a test call a private member whose name is part of the interface but which nothing public shows. An
// explicit instantiation may name private members; this one hands the pointer out through a friend function.
//
//   VELM_PRIVATE_MEMBER(Name, void (Class::*)(int), &Class::PrivateOperation)
//   (object.*Get(Name()))(5);
#define VELM_PRIVATE_MEMBER(Name, Type, Member)                                                              \
    struct Name {                                                                                            \
        using Pointer = Type;                                                                                \
        friend Pointer Get(Name);                                                                            \
    };                                                                                                       \
    template struct velm::test::PrivateMember<Name, Member>;

namespace velm::test {

template <typename Tag, typename Tag::Pointer member>
struct PrivateMember {
    friend typename Tag::Pointer Get(Tag) { return member; }
};

} // namespace velm::test

#endif
