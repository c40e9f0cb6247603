#pragma once
/// @file
/// The capabilities that the interface gives its classes, as concepts. Each class asserts its own.

#include <lintrix/foundation/archive.h>

#include <concepts>

namespace Velmar::Lintrix {

/// Releases early what it owns; may be repeated.
template <class T>
concept Disposable = requires(T& object)
{
    object.Dispose();
};

/// Gives an independent copy of itself.
template <class T>
concept Cloneable = requires(const T& object)
{
    {
        object.Clone()
        } -> std::same_as<T>;
};

/// Writes itself into an archive.
template <class T>
concept Serializable = requires(const T& object, SerializationInfo& info, const StreamingContext& context)
{
    object.GetObjectData(info, context);
};

/// What `Class::Equals` answers with false, whatever it holds: neither a `Class` nor a pointer to one.
template <class T, class Class>
concept AnotherClass =
    !std::convertible_to<const T*, const Class*> && !std::convertible_to<const T&, const Class*>;

} // namespace Velmar::Lintrix
