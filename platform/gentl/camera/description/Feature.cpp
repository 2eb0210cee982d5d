#include "Feature.h"

#include <utility>

namespace VirtualGenTL {

namespace {

Feature Make(std::string name, std::string category, FeatureKind kind, Access access) {
    Feature feature;
    feature.name = std::move(name);
    feature.category = std::move(category);
    feature.kind = kind;
    feature.access = access;
    return feature;
}

} // namespace

Feature IntegerFeature(std::string name, std::string category, Access access, int64_t min, int64_t max, int64_t inc,
                       std::string unit) {
    Feature feature = Make(std::move(name), std::move(category), FeatureKind::Integer, access);
    feature.min = min;
    feature.max = max;
    feature.inc = inc;
    feature.unit = std::move(unit);
    return feature;
}

Feature FloatFeature(std::string name, std::string category, Access access, double min, double max, std::string unit) {
    Feature feature = Make(std::move(name), std::move(category), FeatureKind::Float, access);
    feature.floatMin = min;
    feature.floatMax = max;
    feature.unit = std::move(unit);
    return feature;
}

Feature BooleanFeature(std::string name, std::string category, Access access) {
    return Make(std::move(name), std::move(category), FeatureKind::Boolean, access);
}

Feature EnumerationFeature(std::string name, std::string category, std::vector<EnumEntry> entries, Access access) {
    Feature feature = Make(std::move(name), std::move(category), FeatureKind::Enumeration, access);
    feature.entries = std::move(entries);
    return feature;
}

Feature CommandFeature(std::string name, std::string category) {
    return Make(std::move(name), std::move(category), FeatureKind::Command, Access::WO);
}

Feature StringFeature(std::string name, std::string category, uint32_t length, Access access) {
    Feature feature = Make(std::move(name), std::move(category), FeatureKind::String, access);
    feature.length = length;
    return feature;
}

} // namespace VirtualGenTL
