#include "checks.h"
#include "dialogue.h"
#include "image.h"
#include "image_server.h"
#include "job.h"
#include "verbs.h"

#include <optional>

namespace qvctl {

namespace {

constexpr int HTTP_PORT = 80;

JsonPtr text(const std::string& value) {
    return JsonPtr(json_object_new_string(value.c_str()));
}

JsonPtr upgrade_command(const Arguments& arguments, const Image& image, int port) {
    JsonPtr params(json_object_new_object());
    const auto add = [&params](const char* key, const std::string& value) {
        qv_json_add(params.get(), key, text(value));
    };
    add("image_name", image.name);
    add("md5sum", image.md5sum);
    add("server_ip", ""); // the device downloads from its broker's host
    add("server_port", std::to_string(port));
    add("save_config", arguments.discard_config ? "0" : "1");
    add("reboot", arguments.reboot ? "1" : "0");
    json_object* const borrowed = params.get();
    JsonPtr command =
        new_command(arguments.background ? COMMAND_FW_UPGRADE_IN_BACKGROUND : COMMAND_FW_UPGRADE,
                    new_object("fw_params", std::move(params)));
    check_firmware(borrowed, command.get());
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
    JsonPtr params(json_object_new_object());
    qv_json_add(params.get(), "save_config",
                JsonPtr(json_object_new_int(arguments.discard_config ? 0 : 1)));
    qv_json_add(params.get(), "reboot", JsonPtr(json_object_new_int(arguments.reboot ? 1 : 0)));
    const JsonPtr command =
        new_command(COMMAND_FW_FLASH, new_object("flash_params", std::move(params)));
    Session session(options, OnLoss::reconnect);
    const std::string device = choose_device(session, options);
    return run_job(session, options, device,
                   {.command = command.get(),
                    .plan = flash_plan(arguments),
                    .reboot = arguments.reboot,
                    .wait_back = arguments.wait_back});
}

} // namespace qvctl
