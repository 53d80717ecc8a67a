// Private members of a class, for tests of what must hold inside although no call of a host reaches it.
#pragma once

// Defines `Tag`, with which memberOf(Tag{}) gives the pointer to the private `member`; its type comes last.
// An explicit instantiation may name private members ([temp.spec.general]); its friend hands the pointer out.
#define KY_PRIVATE_MEMBER(Tag, member, ...)            \
  struct Tag {                                         \
    using Type = __VA_ARGS__;                          \
    friend Type memberOf(Tag);                         \
  };                                                   \
  template <Tag::Type pointer>                         \
  struct Tag##Opener {                                 \
    friend Tag::Type memberOf(Tag) { return pointer; } \
  };                                                   \
  template struct Tag##Opener<&member>
