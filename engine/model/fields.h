// The fields of the two records, each named once. The ledger's columns, the JSON
// members and the comparison of two builds are made of these lists, so that a
// name is spelled in one place and an order never has to be kept in step.
#pragma once

#include <polaiga/records.h>

#include <string_view>
#include <tuple>
#include <type_traits>

namespace polaiga::engine {

// A field with its name as a JSON member and as a column of the ledger.
template <auto Member>
struct Field {
  std::string_view name;
  static constexpr auto kMember = Member;
};

// What identifies who an event is about. Together with kEventValues this is all
// that an event says.
inline constexpr std::tuple kEventSubject{
    Field<&fe_sensor_event::sensor_name>{"sensor"},
    Field<&fe_sensor_event::entity_instance>{"instance"},
    Field<&fe_sensor_event::group_instance>{"group"},
    Field<&fe_sensor_event::entity_id>{"entity_id"},
    Field<&fe_sensor_event::entity_subtype>{"entity_subtype"},
    Field<&fe_sensor_event::reading_type>{"reading_type"},
};

// What an event says of its subject.
inline constexpr std::tuple kEventValues{
    Field<&fe_sensor_event::event_offset>{"offset"},
    Field<&fe_sensor_event::event_state>{"state"},
};

// What a record says, less its copy of the event and its stamp.
inline constexpr std::tuple kRecordContent{
    Field<&fe_fault_record::fault_key>{"fault_key"},
    Field<&fe_fault_record::dn>{"dn"},
    Field<&fe_fault_record::fault_dn>{"fault_dn"},
    Field<&fe_fault_record::rn>{"rn"},
    Field<&fe_fault_record::code_text>{"code_text"},
    Field<&fe_fault_record::oid>{"oid"},
    Field<&fe_fault_record::oid_len>{"oid_len"},
    Field<&fe_fault_record::descr>{"descr"},
    Field<&fe_fault_record::disposition>{"disposition"},
    Field<&fe_fault_record::cause_id>{"cause_id"},
    Field<&fe_fault_record::clear_cause_id>{"clear_cause_id"},
    Field<&fe_fault_record::cause>{"cause"},
    Field<&fe_fault_record::clear_cause>{"clear_cause"},
    Field<&fe_fault_record::code>{"code"},
    Field<&fe_fault_record::clear_code>{"clear_code"},
    Field<&fe_fault_record::name>{"name"},
};

// When the record was made.
inline constexpr std::tuple kRecordStamp{
    Field<&fe_fault_record::created>{"created"},
    Field<&fe_fault_record::created_time>{"created_time"},
};

// Calls `visit(field)` for each field of a list, in its order.
template <class Fields, class Visit>
constexpr void for_each_field(const Fields& fields, Visit visit) {
  std::apply([&](const auto&... field) { (visit(field), ...); }, fields);
}

}  // namespace polaiga::engine
