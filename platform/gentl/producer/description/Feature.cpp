#include "Feature.h"

#include <utility>

namespace VirtualGenTL {

Feature IntegerFeature(std::string name, std::string category, Access access, int64_t min, int64_t max, int64_t inc,
                       std::string unit) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::Integer;
    feature.access = access;
    feature.min = min;
    feature.max = max;
    feature.inc = inc;
    feature.unit = std::move(unit);
    return feature;
}

Feature FloatFeature(std::string name, std::string category, Access access, double min, double max, std::string unit) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::Float;
    feature.access = access;
    feature.floatMin = min;
    feature.floatMax = max;
    feature.unit = std::move(unit);
    return feature;
}

Feature BooleanFeature(std::string name, std::string category, Access access) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::Boolean;
    feature.access = access;
    return feature;
}

Feature EnumerationFeature(std::string name, std::string category, std::vector<EnumEntry> entries, Access access) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::Enumeration;
    feature.access = access;
    feature.entries = std::move(entries);
    return feature;
}

Feature CommandFeature(std::string name, std::string category) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::Command;
    feature.access = Access::WO;
    return feature;
}

Feature StringFeature(std::string name, std::string category, uint32_t length, Access access) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = FeatureKind::String;
    feature.access = access;
    feature.length = length;
    return feature;
}

} // namespace VirtualGenTL
