#include "drivers/embedded/engine/set_options.h"

#include <algorithm>

namespace kelvane::embedded {

namespace {

constexpr SetOptionRule kOptions[] = {
    {"ansi_permissions"},
    {"ansinull", SetEffect::AnsiNull},
    {"arithabort", SetEffect::ArithAbort},
    {"arithignore"},
    {"bulk"},
    {"chained", SetEffect::Chained},
    {"char_convert"},
    {"cis_rpc_handling"},
    {"clientapplname"},
    {"clienthostname"},
    {"clientname"},
    {"close"},
    {"compatibility_mode", SetEffect::None, 15},
    {"cursor"},
    {"datefirst", SetEffect::DateFirst, 12, "7"},
    {"dateformat", SetEffect::DateFormat, 12, "mdy"},
    {"deferred_name_resolution", SetEffect::None, 15},
    {"delayed_commit", SetEffect::None, 15},
    {"dml_logging", SetEffect::None, 15},
    {"encryption"},
    {"erase_residual_data", SetEffect::None, 15},
    {"export_options"},
    {"fipsflagger"},
    {"flushmessage"},
    {"fmtonly", SetEffect::FormatOnly},
    {"forceplan"},
    {"identity_insert", SetEffect::IdentityInsert},
    {"identity_update", SetEffect::IdentityUpdate},
    {"index_union", SetEffect::None, 15},
    {"ins_by_bulk", SetEffect::None, 15},
    {"join_bloom_filter", SetEffect::None, 15},
    {"jtc"},
    {"language", SetEffect::Language, 12, "us_english"},
    {"literal_autoparam", SetEffect::None, 15},
    {"lock"},
    {"logbulkcopy", SetEffect::None, 15},
    {"materialized_view_optimization", SetEffect::None, 15},
    {"metrics_capture", SetEffect::None, 15},
    {"mon_stateful_history", SetEffect::None, 15},
    {"nocount", SetEffect::NoCount},
    {"nodata"},
    {"noexec", SetEffect::NoExec},
    {"offsets"},
    {"option", SetEffect::None, 15},
    {"opttimeoutlimit", SetEffect::None, 15},
    {"parallel_degree"},
    {"parallel_query", SetEffect::None, 15},
    {"parseonly", SetEffect::ParseOnly},
    {"plan"},
    {"prefetch"},
    {"proc_output_params"},
    {"proc_return_status"},
    {"process_limit_action"},
    {"procid"},
    {"proxy", SetEffect::Login},
    {"quoted_identifier", SetEffect::QuotedIdentifier},
    {"raw_object_serialization"},
    {"repartition_degree", SetEffect::None, 15},
    {"replication"},
    {"repthreshold", SetEffect::None, 15},
    {"resource_granularity", SetEffect::None, 15},
    {"role"},
    {"rowcount", SetEffect::RowCount},
    {"scan_parallel_degree"},
    {"self_recursion"},
    {"send_locator", SetEffect::None, 15},
    {"session", SetEffect::Login},
    {"show_exec_io", SetEffect::None, 15},
    {"show_permission_source", SetEffect::None, 15},
    {"show_sqltext"},
    {"show_transformed_sql", SetEffect::None, 15},
    {"showplan"},
    {"sort_merge"},
    {"sort_resources"},
    {"spinlock_aggregation", SetEffect::None, 16},
    {"ssql_cache"},
    {"statement_cache"},
    {"statistics"},
    {"strict_dtm_enforcement"},
    {"string_rtruncation", SetEffect::StringTruncation},
    {"switch", SetEffect::None, 15},
    {"system_view", SetEffect::None, 15},
    {"table"},
    {"textptr_parameters"},
    {"textsize", SetEffect::TextSize},
    {"tracefile", SetEffect::None, 15},
    {"transaction", SetEffect::Isolation},
    {"transactional_rpc"},
    {"triggers"},
};
static_assert(std::ranges::is_sorted(kOptions, {}, &SetOptionRule::name));

}  // namespace

const SetOptionRule* findSetOption(std::string_view name) {
  const auto* rule = std::ranges::lower_bound(kOptions, name, {}, &SetOptionRule::name);
  return rule != std::end(kOptions) && rule->name == name ? rule : nullptr;
}

SetEffect effectOf(std::string_view name) {
  const SetOptionRule* rule = findSetOption(name);
  return rule == nullptr ? SetEffect::None : rule->effect;
}

namespace {

// Of an option that holds for one table.
std::optional<std::string> tableOf(const tsql::SetOption& option, std::string_view name) {
  if (option.names.empty() || option.names.front() != name || option.values.empty()) {
    return std::nullopt;
  }
  if (option.values.back() != "on") return "";
  // The last name, which may stand in brackets or quotes.
  std::string_view table = option.values.front();
  const char last = table.empty() ? '\0' : table.back();
  if (last == ']' || last == '"') {
    table.remove_suffix(1);
    const std::size_t open = table.rfind(last == ']' ? '[' : '"');
    return std::string(table.substr(open == std::string_view::npos ? 0 : open + 1));
  }
  const std::size_t dot = table.rfind('.');
  return std::string(table.substr(dot == std::string_view::npos ? 0 : dot + 1));
}

}  // namespace

std::optional<std::string> identityInsertTable(const tsql::SetOption& option) {
  return tableOf(option, "identity_insert");
}

std::optional<std::string> identityUpdateTable(const tsql::SetOption& option) {
  return tableOf(option, "identity_update");
}

}  // namespace kelvane::embedded
