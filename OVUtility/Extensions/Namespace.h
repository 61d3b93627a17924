// ov::Namespace and ov::OVNamespaced: offer a type's extension members under
// a prefix (`value.ov().member()`) instead of on the type itself, so that
// they never clash with the type's own members.
//
//   struct Track : ov::OVNamespaced<Track> { std::string title; };
//   // extension members are free functions over the carrier:
//   inline std::string shoutedTitle(ov::Namespace<const Track&> t) { return upper(t.base.title); }
//   shoutedTitle(track.ov());
//   // or a specialisation of Namespace<const Track&> that adds members and keeps `base`.
//
// `Namespace<Base>` is a plain value holding `base`; with a reference type
// as Base it is a cheap view of the wrapped object and must not outlive it.
#pragma once

#include <type_traits>
#include <utility>

namespace ov {

template <typename Base>
struct Namespace {
    Base base;
    explicit Namespace(Base value) : base(std::forward<Base>(value)) {}
    // A mutable view converts to a read-only one.
    template <typename Other>
    requires(!std::is_same_v<Other, Base> && std::is_convertible_v<Other&, Base>)
        Namespace(const Namespace<Other>& other)
        : base(other.base) {}
};

// Adopted (CRTP) by types that offer a namespace.
template <typename Derived>
struct OVNamespaced {
    Namespace<const Derived&> ov() const { return Namespace<const Derived&>(self()); }
    Namespace<Derived&> ov() { return Namespace<Derived&>(self()); }

  private:
    const Derived& self() const { return static_cast<const Derived&>(*this); }
    Derived& self() { return static_cast<Derived&>(*this); }
};

}  // namespace ov
