// Setting, removing and merging header fields.

#include "net/http/text/header_fields.hpp"

namespace Libraries::Networks::HTTP::Client {

void setField(HeaderFields& fields, const Ref<String>& name, const Ref<String>& value) {
    const auto place = fields.lower_bound(name);
    if (place != fields.end() && !HeaderNameLess()(name, place->first)) {
        place->second = value;
    } else {
        fields.emplace_hint(place, name, value);
    }
}

void setOrRemoveField(HeaderFields& fields, const Ref<String>& name, const Ref<String>& value) {
    if (value) {
        setField(fields, name, value);
    } else {
        fields.erase(name);
    }
}

bool mergeFields(HeaderFields& fields, const HeaderFields& added, bool replace) {
    if (replace) {
        fields.clear();
    }
    for (const auto& [name, value] : added) {
        if (!name) {
            return false;  // null sorts first: nothing of the map has been applied
        }
        setOrRemoveField(fields, name, value);
    }
    return true;
}

}  // namespace Libraries::Networks::HTTP::Client
