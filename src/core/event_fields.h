// The fields of an event, each a row with its place in the three forms of an event: the
// application's record, the view of borrowed texts, the event that owns its texts. Whoever turns
// one form into another walks these rows, so a new field is a member of each form and a row here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "core/event_view.h"

namespace zvevent {

enum class Zero { kIsANumber, kMeansAbsent };

template <typename Number>
struct NumberField {
    Number zvEventRecord::*record;
    Number EventNumbers::*view;
    Number zvEventNormalizedEvent::*event;
    Zero zero = Zero::kIsANumber;
};
template <typename Number>
NumberField(Number zvEventRecord::*, Number EventNumbers::*, Number zvEventNormalizedEvent::*,
            Zero = Zero::kIsANumber) -> NumberField<Number>;

struct TextField {
    const char* zvEventRecord::*record;
    std::string_view EventView::*view;
    std::string zvEventNormalizedEvent::*event;
    std::string_view absent;  // what stands for a text that the record lacks
};

// In the order of the record.
inline constexpr auto kEventFields = [] {
    using R = zvEventRecord;
    using N = EventNumbers;
    using V = EventView;
    using E = zvEventNormalizedEvent;
    return std::tuple{
        NumberField{&R::event_id, &N::event_id, &E::event_id, Zero::kMeansAbsent},
        TextField{&R::event_type, &V::event_type, &E::event_type, "event"},
        TextField{&R::source_id, &V::source_id, &E::source_id, ""},
        TextField{&R::source_name, &V::source_name, &E::source_name, "zvEvent"},
        TextField{&R::message, &V::message, &E::message, ""},
        NumberField{&R::severity, &N::severity, &E::severity},
        TextField{&R::action, &V::action, &E::action, ""},
        TextField{&R::dedupe_key, &V::dedupe_key, &E::dedupe_key, ""},
        TextField{&R::correlation_id, &V::correlation_id, &E::correlation_id, ""},
        NumberField{&R::utc_ns, &N::utc_ns, &E::utc_ns, Zero::kMeansAbsent},
        NumberField{&R::ptp_ns, &N::ptp_ns, &E::ptp_ns, Zero::kMeansAbsent},
        NumberField{&R::pts, &N::pts, &E::pts},
        TextField{&R::timecode, &V::timecode, &E::timecode, ""},
        NumberField{&R::value, &N::value, &E::value},
        NumberField{&R::threshold, &N::threshold, &E::threshold},
        TextField{&R::units, &V::units, &E::units, ""},
        NumberField{&R::duration_ms, &N::duration_ms, &E::duration_ms},
        TextField{&R::details_json, &V::details_json, &E::details_json, "{}"},
    };
}();

// Calls visit(field) for every row.
template <typename Visit>
constexpr void ForEachEventField(Visit&& visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); }, kEventFields);
}

// The texts among them, which is also the order of the view's texts.
inline constexpr auto kTextFields = std::apply(
    [](const auto&... field) {
        constexpr auto only_texts = []<typename Field>(const Field& row) {
            if constexpr (std::is_same_v<Field, TextField>) {
                return std::tuple{row};
            } else {
                return std::tuple{};
            }
        };
        return std::tuple_cat(only_texts(field)...);
    },
    kEventFields);

template <typename Visit>
constexpr void ForEachEventText(Visit&& visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); }, kTextFields);
}

inline constexpr std::size_t kEventTextCount = std::tuple_size_v<decltype(kTextFields)>;

// The views' texts, for loops over them.
inline constexpr auto kViewTexts =
    std::apply([](const auto&... field) { return std::array{field.view...}; }, kTextFields);

// No form has a member without a row; up to four bytes of a form are padding.
static_assert(std::apply(
    [](const auto&... field) {
        constexpr zvEventRecord kRecord{};
        constexpr std::size_t kOfTheRecordItself =
            sizeof kRecord.struct_size + sizeof kRecord.version + sizeof kRecord.reserved;
        return (kOfTheRecordItself + ... + sizeof(kRecord.*field.record)) == sizeof(zvEventRecord);
    },
    kEventFields));
static_assert(std::apply(
    [](const auto&... field) {
        return (std::size_t{4} + ... + sizeof(EventView{}.*field.view)) == sizeof(EventView);
    },
    kEventFields));
static_assert(std::apply(
    [](const auto&... field) {
        return (std::size_t{4} + ... + sizeof(zvEventNormalizedEvent{}.*field.event)) ==
               sizeof(zvEventNormalizedEvent);
    },
    kEventFields));

}  // namespace zvevent
