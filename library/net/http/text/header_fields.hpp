#pragma once

#include "net/http/http.hpp"

/// The rules of the header-field map; its order is part of the type.
namespace Libraries::Networks::HTTP::Client {

/// Stores a value under a name: the name of an existing entry keeps its letter case.
void setField(HeaderFields& fields, const Ref<String>& name, const Ref<String>& value);

/// Sets one field, or removes it when the value is null.
void setOrRemoveField(HeaderFields& fields, const Ref<String>& name, const Ref<String>& value);

/// Merges a map into another, as `Request::setHeaderFields` says.
///
/// @return False when `added` holds a null name.
bool mergeFields(HeaderFields& fields, const HeaderFields& added, bool replace);

}  // namespace Libraries::Networks::HTTP::Client
