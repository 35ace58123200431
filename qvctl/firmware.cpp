#include "checks.h"
#include "dialogue.h"
#include "image.h"
#include "image_server.h"
#include "job.h"
#include "json/json_text.h"
#include "protocol/record_walk.h"
#include "protocol/upgrade.h"
#include "verbs.h"

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

namespace qvctl {

namespace {

constexpr int HTTP_PORT = 80;

/// The record as the member of a command that carries it.
JsonPtr new_object(std::span<const std::byte> record, RecordTable fields) {
    std::vector<char> text(qv_record_room(fields) + JSON_TEXT_SLACK);
    *qv_put_record(text.data(), record, fields) = '\0';
    return JsonPtr(json_tokener_parse(text.data()));
}

/// The parameters that qvctl knows, by their place in FwParams. All others are sent empty: the
/// device downloads from its broker's host, whatever "server_ip" says.
JsonPtr upgrade_params(const Arguments& arguments, const Image& image, int port) {
    const std::map<size_t, std::string> known = {
        {offsetof(FwParams, image_name), image.name},
        {offsetof(FwParams, md5sum), image.md5sum},
        {offsetof(FwParams, server_port), std::to_string(port)},
        {offsetof(FwParams, save_config), arguments.discard_config ? "0" : "1"},
        {offsetof(FwParams, reboot), arguments.reboot ? "1" : "0"},
    };
    JsonPtr params(json_object_new_object());
    for (const RecordField& field : qv_fw_fields) {
        const auto row = known.find(field.offset);
        const char* const value = row == known.end() ? "" : row->second.c_str();
        qv_json_add(params.get(), field.key, JsonPtr(json_object_new_string(value)));
    }
    return params;
}

JsonPtr upgrade_command(const Arguments& arguments, const Image& image, int port) {
    JsonPtr command =
        new_command(arguments.background ? COMMAND_FW_UPGRADE_IN_BACKGROUND : COMMAND_FW_UPGRADE,
                    upgrade_params(arguments, image, port));
    check_firmware(command.get());
    return command;
}

std::string configuration_plan(const Arguments& arguments) {
    return arguments.discard_config ? "\n  loses its configuration, its broker's address too"
                                    : "\n  keeps its configuration";
}

/// What is about to happen, with the device before it.
std::string upgrade_plan(const Arguments& arguments, const Image& image, const std::string& url) {
    return "\n  fetches " + url + "\n    (from its broker's host, as it knows it)" +
           "\n  flashes it when its MD5 sum is " + image.md5sum + configuration_plan(arguments);
}

std::string flash_plan(const Arguments& arguments) {
    return "\n  flashes what the last download left, also when its MD5 sum was wrong,"
           "\n    with updata_rootfs.sh, whatever board it is" +
           configuration_plan(arguments);
}

} // namespace

ExitStatus upgrade(const Options& options, const Arguments& arguments) {
    const Image image = image_of(arguments);
    std::optional<ImageServer> server;
    int port = arguments.server_port.value_or(HTTP_PORT);
    if (!arguments.served.empty()) {
        server.emplace(arguments.served, image.name,
                       static_cast<uint16_t>(arguments.server_port.value_or(0)));
        port = server->port();
    }
    const JsonPtr command = upgrade_command(arguments, image, port);
    Session session(options, OnLoss::reconnect);
    if (server.has_value() && !is_on_this_host(session.socket())) {
        throw Failure(REFUSED, "--serve: broker " + session.broker() +
                                   " is not on this host, and devices download from its host");
    }
    const std::string url =
        "http://" + options.host + ":" + std::to_string(port) + "/" + url_segment(image.name);
    const std::string device = choose_device(session, options);
    return run_job(session, options, device,
                   {.command = command.get(),
                    .plan = upgrade_plan(arguments, image, url),
                    .url = url,
                    .server = server.has_value() ? &*server : nullptr,
                    .reboot = arguments.reboot,
                    .wait_back = arguments.wait_back});
}

ExitStatus flash(const Options& options, const Arguments& arguments) {
    const FlashParams params = {.save_config = arguments.discard_config ? 0 : 1,
                                .reboot = arguments.reboot ? 1 : 0};
    const JsonPtr command =
        new_command(COMMAND_FW_FLASH, new_object(qv_record_bytes(params), qv_flash_fields));
    Session session(options, OnLoss::reconnect);
    const std::string device = choose_device(session, options);
    return run_job(session, options, device,
                   {.command = command.get(),
                    .plan = flash_plan(arguments),
                    .reboot = arguments.reboot,
                    .wait_back = arguments.wait_back});
}

} // namespace qvctl
