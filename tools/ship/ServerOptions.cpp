#include "ServerOptions.h"

#include "Names.h"

#include <tools/Existing.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>

namespace zmu_tools::ship {

namespace {

CLI::Validator urlCheck()
{
    return {[](const std::string& text) -> std::string {
                if (text.find('@') != text.npos)
                    return "a URL with a user in it would be seen by everybody who lists "
                           "processes; put user and password into a file for --user-file, or a "
                           "token into one for --token-file";
                if (!text.starts_with("nats://") && !text.starts_with("tls://"))
                    return "\"" + text +
                           "\" is no server; write nats://HOST:4222, or tls://HOST:4222";
                return {};
            },
            "URL"};
}

CLI::Validator prefixCheck()
{
    return {[](const std::string& text) -> std::string {
                return isSubjectPrefix(text)
                           ? std::string()
                           : "\"" + text +
                                 "\" is no subject; write words of letters, digits, '-' and '_' "
                                 "with dots between them";
            },
            "SUBJECT"};
}

CLI::Validator streamCheck()
{
    return {[](const std::string& text) -> std::string {
                return isSubjectPrefix(text) && text.find('.') == text.npos
                           ? std::string()
                           : "\"" + text +
                                 "\" is no stream's name; write letters, digits, '-' and '_'";
            },
            "NAME"};
}

} // namespace

CLI::Option* addServerOptions(CLI::App& command, ServerOptions& options)
{
    CLI::Option* const server =
        command
            .add_option("--server", options.urls,
                        "A NATS server with JetStream: nats://HOST:4222, or tls://HOST:4222. Name "
                        "several of a cluster, with commas between them; one of them is enough.")
            ->delimiter(',')
            ->check(urlCheck());
    const auto add = [&command, server](const char* name, std::string& file, const char* text) {
        return command.add_option(name, file, text)->check(existingFile())->needs(server);
    };
    add("--ca", options.authorities,
        "Certificates of the authorities by which servers are known. With it no server is spoken "
        "to without TLS.");
    CLI::Option* const certificate =
        add("--cert", options.certificate, "The own certificate, with its chain; needs --key.");
    CLI::Option* const key = add("--key", options.key, "The key of the own certificate.");
    certificate->needs(key);
    key->needs(certificate);
    CLI::Option* const user = add("--user-file", options.user,
                                  "A file with a user in its first line, and the password "
                                  "in the second.");
    CLI::Option* const token = add("--token-file", options.token, "A file with a token.");
    CLI::Option* const credentials =
        add("--creds", options.credentials, "A file of credentials, as NATS' own tools make it.");
    user->excludes(token)->excludes(credentials);
    token->excludes(credentials);
    command
        .add_option("--stream", options.stream.name,
                    "The stream in which the servers keep what is on its way. It is made if it is "
                    "not there, and checked if it is.")
        ->capture_default_str()
        ->check(streamCheck())
        ->needs(server);
    command
        .add_option("--subject", options.stream.subject,
                    "The first words of subjects: those of this site, for instance.")
        ->capture_default_str()
        ->check(prefixCheck())
        ->needs(server);
    command
        .add_option("--replicas", options.stream.replicas,
                    "How many servers keep each message. Without it three of a cluster, and one "
                    "that is by itself.")
        ->check(CLI::Range(1, 5))
        ->needs(server);
    command
        .add_option("--max-age", options.stream.age,
                    "How long servers keep messages, collected or not: 72h unless set (s, m, h or "
                    "d).")
        ->transform(CLI::AsNumberWithUnit(
            std::map<std::string, std::int64_t>{{"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}},
            CLI::AsNumberWithUnit::CASE_INSENSITIVE))
        ->check(CLI::PositiveNumber)
        ->needs(server);
    command
        .add_option("--max-bytes", options.stream.bytes,
                    "How much servers keep: 4GB unless set. Beyond it they refuse more, which "
                    "stays in the spools.")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::PositiveNumber)
        ->needs(server);
    return server;
}

} // namespace zmu_tools::ship
