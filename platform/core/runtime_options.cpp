// The runtime options of the switches. They hold for all switches of the host until it boots again.
#include "platform/core/runtime_options.hpp"

#include <arpa/inet.h>

#include "platform/core/constants.hpp"
#include "platform/core/host_settings.hpp"
#include "platform/core/property_values.hpp"

namespace host {

namespace {

struct NumberRule {
  char const *name;
  std::uint32_t lowest;
  std::uint32_t highest;
  std::uint32_t normal;
};

// In the order of the VS_RT_OPT_* values.
constexpr NumberRule number_rules[] = {
    {"IGMPQueryInterval", 1, 65535, 125},  // seconds
    {"IGMPV3MaxSrcIPNum", 1, 64, 10},
    {"IGMPQueries", 1, 16, 2},
    {"IGMPVersion", 1, 3, 3},
    {"MLDVersion", 1, 2, 2},
    {"MLDV2MaxSrcIPNum", 1, 64, 10},
    {"MaxRARPsPerInterval", 1, 65535, 128},
    {"RARPAdvertisementDuration", 1, 3600, 60},  // seconds
    {"ReversePathFwdCheck", 0, 1, 1},
    {"ReversePathFwdCheckPromisc", 0, 1, 0},
    {"AllowFastPath", 0, 1, 1},
    {"TeamPolicyUpDelay", 0, 300000, 100},  // milliseconds
    {"AllowMirrorStats", 0, 1, 1},
    {"TeamingNUMAAware", 0, 1, 0},
    {"SendIGMPReportToUplink", 0, 1, 0},
    {"TeamingIgnoreShotgun", 0, 1, 0},
};
static_assert(std::size(number_rules) == NUM_RUNTIME_INT_OPTIONS);

char const *normal_text(std::uint16_t type) {
  return type == VS_RT_OPT_IGMP_ROUTER_IP ? "0.0.0.0" : "::";
}

std::string setting_name(std::uint16_t type) {
  return "runtime option " + std::to_string(type);
}

void refuse_option(RuntimeOption const &option) {
  refuse_if(option.type >= VS_NUM_RT_OPT, QEL_BAD_PARAM);
  if (is_text_option(option.type)) {
    unsigned char address[sizeof(in6_addr)];
    int const family = option.type == VS_RT_OPT_IGMP_ROUTER_IP ? AF_INET : AF_INET6;
    refuse_if(option.text.find('\0') != std::string::npos, QEL_INVALID_ADDRESS);
    refuse_if(inet_pton(family, option.text.c_str(), address) != 1, QEL_INVALID_ADDRESS);
    return;
  }
  NumberRule const &rule = number_rules[option.type];
  refuse_if(option.number < rule.lowest || option.number > rule.highest, QEL_BAD_PARAM);
}

}  // namespace

bool is_text_option(std::uint16_t type) {
  return type >= NUM_RUNTIME_INT_OPTIONS;
}

char const *runtime_option_name(std::uint16_t type) {
  if (is_text_option(type))
    return type == VS_RT_OPT_IGMP_ROUTER_IP ? "IGMPRouterIP" : "MLDRouterIP";
  return number_rules[type].name;
}

bool is_set(Database &database, std::uint16_t type) {
  return host_setting(database, setting_name(type)).has_value();
}

RuntimeOption runtime_option(Database &database, std::uint16_t type) {
  refuse_if(type >= VS_NUM_RT_OPT, QEL_BAD_PARAM);
  std::optional<std::string> const value = host_setting(database, setting_name(type));
  if (is_text_option(type))
    return {type, 0, value ? *value : normal_text(type)};
  return {type, value ? property_number(*value) : number_rules[type].normal, {}};
}

std::uint32_t runtime_option_number(Database &database, std::uint16_t type) {
  return runtime_option(database, type).number;
}

void set_runtime_options(Database &database, std::vector<RuntimeOption> const &options) {
  for (RuntimeOption const &option : options)
    refuse_option(option);
  for (RuntimeOption const &option : options) {
    set_host_setting(database, setting_name(option.type),
                     is_text_option(option.type) ? option.text : property_bytes(option.number), Lifetime::until_boot);
  }
}

}  // namespace host
