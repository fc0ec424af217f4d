#include "Cli.h"

#include "Connection.h"
#include "CrsCommands.h"
#include "DownloadCommands.h"
#include "Failure.h"
#include "FailureReport.h"
#include "ImportCommand.h"
#include "SessionCommands.h"
#include "SiteCommands.h"
#include "UploadCommands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>

#include <unistd.h>

namespace lithmar::xchng {

namespace {

constexpr const char* kDefaultUrl = "http://127.0.0.1:8480/lithmar-xchng";

using Action = std::function<void(com::vantorel::lithmar::exploration::api::DataExchangeApi&, Output)>;

void addDownloadCommand(CLI::App& parent, const char* name, bool feature, DownloadRequest& request, Action& action)
{
    auto* command = parent.add_subcommand(name, feature ? "Download a geologic feature's files"
                                                        : "Download a geologic model's files");
    command->add_option("id", request.id, "Identifier of the object")->required();
    command->add_option("--format", request.format, "File format to ask for (the service decides the default)");
    command->add_option("--detail-level", request.detailLevel, "Level of detail to ask for");
    command->add_option("--crs", request.crs, "Coordinate reference system of the files");
    command->add_option("-o,--output", request.outputDirectory, "Save the files in this directory");
    command->callback([&request, &action, feature] {
        request.feature = feature;
        action = [&request](auto& api, Output output) { download(api, request, output); };
    });
}

void addUploadCommands(CLI::App& parent, UploadRequest& request, Action& action, std::ostream& err,
                       const Connection& connection)
{
    auto* uploads = parent.add_subcommand("upload", "Import local files into a site and wait for the result");
    uploads->require_subcommand(1);
    for (const std::string& kind : uploadKinds()) {
        auto* command = uploads->add_subcommand(kind, "Import " + kind + " from FILE...");
        command->add_option("files", request.files, "Files to check in and import")->required();
        command->add_option("--site", request.siteId, "Identifier of the site to import into")->required();
        command->add_option("--name", request.name, "Name of the new object (default: the first file's name)");
        command->add_option("--crs", request.crs, "Coordinate reference system of the data");
        command->add_option("--import-type", request.importType, "Kind of import, as the service words it (CREATE)");
        command->add_option("--timeout", request.timeOutSeconds,
                            "Seconds to wait for the import's result (0: fail at once; negative: do not wait)");
        command->callback([&request, &action, &err, &connection, kind] {
            request.kind = kind;
            // Redraw the spinner only where a person watches it.
            const bool terminal = &err == &std::cerr && isatty(STDERR_FILENO);
            action = [&request, &err, &connection, terminal](auto& api, Output output) {
                if (!connection.caFile.empty()) {
                    // The socket notification client, which brings the result in
                    // platform mode, trusts OpenSSL's default paths: for this
                    // program, the same file as the calls.
                    setenv("SSL_CERT_FILE", connection.caFile.c_str(), 1);
                }
                upload(api, request, output, err, terminal);
            };
        });
    }
}

// The subcommands given, as the command line words them: "upload boreholes".
std::string commandOf(const CLI::App& app)
{
    std::string command;
    for (const CLI::App* level = &app; !level->get_subcommands().empty();) {
        level = level->get_subcommands().front();
        command += (command.empty() ? "" : " ") + level->get_name();
    }
    return command;
}

} // namespace

int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
    return run(args, std::cin, out, err);
}

int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err)
{
    CLI::App app{"xchng: talk to a geological data exchange service from the command line.\n"
                 "Start a local one with lithmar-local."};
    app.name("xchng");
    app.require_subcommand(1);
    app.footer(exitCodesHelp());

    Connection connection;
    connection.url = kDefaultUrl;
    bool json = false;
    app.add_option("-u,--url", connection.url, "Base URL of the data exchange service")->capture_default_str();
    app.add_option("-H,--header", connection.headers, "Header sent with every request, as \"Name: value\"");
    app.add_option("-t,--timeout", connection.timeoutSeconds, "Seconds to wait for each answer")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_flag("--json", json, "Print the service's answers as JSON, for scripts");
    app.add_option("--ca-file", connection.caFile,
                   "PEM file of a private certificate authority to trust besides the system's, such as the "
                   "one lithmar-local --platform prints at start");

    Action action;
    // Commands of the platform session, which need no API object.
    std::function<void(Output)> sessionAction;

    SignInRequest signInRequest;
    auto* signin = app.add_subcommand("signin", "Sign in to the platform; later commands act for the user");
    signin->add_option("--user", signInRequest.user, "User name (asked for when missing)");
    signin->add_option("--password", signInRequest.password,
                       "Password (asked for when missing, without echo; visible to other users in the process "
                       "list, so prefer the prompt or a pipe)");
    signin->callback([&] { sessionAction = [&](Output output) { signIn(connection, signInRequest, in, output); }; });
    app.add_subcommand("signout", "End the platform session kept by signin")->callback([&] {
        sessionAction = [&](Output output) { signOut(connection, output); };
    });
    bool withTicket = false;
    auto* whoami = app.add_subcommand("whoami", "Show the user the platform session acts for");
    whoami->add_flag("--ticket", withTicket, "Also ask the login service for a fresh login ticket");
    whoami->callback([&] { sessionAction = [&](Output output) { whoAmI(connection, withTicket, output); }; });

    std::string siteName;
    std::string siteId;
    auto* sites = app.add_subcommand("sites", "List, create and show sites");
    sites->require_subcommand(1);
    sites->add_subcommand("list", "List the sites")->callback([&] { action = listSites; });
    auto* create = sites->add_subcommand("create", "Create a site");
    create->add_option("name", siteName, "Name of the new site")->required();
    create->callback([&] { action = [&](auto& api, Output output) { createSite(api, siteName, output); }; });
    auto* show = sites->add_subcommand("show", "Show a site's tree of objects");
    show->add_option("id", siteId, "Identifier of the site")->required();
    show->callback([&] { action = [&](auto& api, Output output) { showSite(api, siteId, output); }; });

    app.add_subcommand("crs", "List the coordinate reference systems the service offers")->callback([&] {
        action = listCrs;
    });

    DownloadRequest downloadRequest;
    auto* downloads = app.add_subcommand("download", "Download geologic models and features");
    downloads->require_subcommand(1);
    addDownloadCommand(*downloads, "model", false, downloadRequest, action);
    addDownloadCommand(*downloads, "feature", true, downloadRequest, action);

    UploadRequest uploadRequest;
    addUploadCommands(app, uploadRequest, action, err, connection);
    std::vector<std::string> uploadedFiles;
    auto* files = app.get_subcommand("upload")->add_subcommand(
        "files", "Check files in to a new upload session, finish it and print the file server's receipts");
    files->add_option("file", uploadedFiles, "Files to check in, in this order")->required()->check(CLI::ExistingFile);
    files->callback([&] {
        const bool terminal = &out == &std::cout && ::isatty(STDOUT_FILENO);
        action = [&uploadedFiles, terminal](auto& api, Output output) {
            uploadFiles(api, uploadedFiles, terminal, output);
        };
    });

    try {
        std::vector<std::string> reversed(args.rbegin(), args.rend());
        app.parse(reversed);
    } catch (const CLI::CallForHelp& help) {
        out << app.help();
        return Ok;
    } catch (const CLI::ParseError& failure) {
        // The flags may not all be read when parsing stops; --json is asked
        // for all the same.
        json = json || std::find(args.begin(), args.end(), "--json") != args.end();
        return report({Usage, failure.what() + std::string("\nRun `xchng --help` for the commands and options.")},
                      commandOf(app), json, err);
    }
    try {
        if (sessionAction) {
            sessionAction(Output{out, json});
            return Ok;
        }
        auto api = connect(connection);
        action(api, Output{out, json});
        return Ok;
    } catch (...) {
        return report(describe(std::current_exception(), connection.url), commandOf(app), json, err);
    }
}

} // namespace lithmar::xchng
