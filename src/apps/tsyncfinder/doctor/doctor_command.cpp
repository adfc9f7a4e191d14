#include "apps/tsyncfinder/doctor/doctor_command.h"

#include "apps/tsyncfinder/doctor/checks.h"
#include "apps/tsyncfinder/doctor/report.h"
#include "apps/usage.h"
#include "platform/Clock.h"
#include "platform/json.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>
#include <memory>
#include <thread>

namespace apps::tsyncfinder::doctor {
namespace {

// Each check asks for less than this when everything that it asks is dead.
constexpr std::chrono::seconds checkBound{15};

struct Check {
    const char* name;
    Findings (*run)();
};

constexpr Check checks[] = {{"bus", checkBus},           {"service", checkService}, {"plugins", checkPlugins},
                            {"switches", checkSwitches}, {"emblems", checkEmblems}, {"start", checkStart},
                            {"settings", checkSettings}, {"panel", checkPanel}};

// Begins the check on a thread that nobody waits for at the end.
std::future<Findings> begin(const Check& check) {
    auto promise = std::make_shared<std::promise<Findings>>();
    auto findings = promise->get_future();
    std::thread([promise, check] {
        try {
            promise->set_value(check.run());
        } catch (const std::exception& error) {
            promise->set_value({{State::problem, check.name, error.what(), ""}});
        }
    }).detach();
    return findings;
}

const char* nameOf(State state) {
    switch (state) {
    case State::ok:
        return "ok";
    case State::warning:
        return "warning";
    case State::problem:
        break;
    }
    return "problem";
}

void print(const Finding& finding) {
    constexpr std::size_t width = 9;
    std::string state = nameOf(finding.state);
    state.resize(width, ' ');
    std::cout << state << finding.check << ": " << finding.text << '\n';
    if (!finding.advice.empty()) std::cout << std::string(width, ' ') << "→ " << finding.advice << '\n';
}

enum class Form { lines, json, report };

int examine(Form form) {
    std::vector<std::future<Findings>> waiting;
    for (const Check& check : checks)
        waiting.push_back(begin(check));
    const auto deadline = platform::machineClock().now() + checkBound;
    Findings all;
    for (std::size_t i = 0; i < waiting.size(); ++i) {
        if (waiting[i].wait_until(deadline) == std::future_status::ready) {
            for (Finding& finding : waiting[i].get())
                all.push_back(std::move(finding));
        } else {
            all.push_back({State::problem, checks[i].name,
                           "No answer within " + std::to_string(checkBound.count()) + " seconds.",
                           "A disk or a program that it asks hangs."});
        }
    }
    if (form == Form::report) {
        std::cout << reportOf(all);
    } else if (form == Form::json) {
        platform::Array list;
        for (const Finding& finding : all)
            list.emplace_back(platform::Dictionary{{"state", nameOf(finding.state)},
                                                   {"check", finding.check},
                                                   {"text", finding.text},
                                                   {"advice", finding.advice}});
        std::cout << platform::jsonDescription(list) << '\n';
    } else {
        for (const Finding& finding : all)
            print(finding);
    }
    const bool hasProblem =
        std::any_of(all.begin(), all.end(), [](const Finding& each) { return each.state == State::problem; });
    return hasProblem ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

void addDoctorCommand(CLI::App& app, int& exitStatus) {
    const auto form = std::make_shared<Form>(Form::lines);
    CLI::App* doctor = app.add_subcommand("doctor", "Look for what keeps badges and menus from appearing");
    CLI::Option* const json = doctor->add_flag_callback(
        "--json", [form] { *form = Form::json; }, R"(An array of {"state","check","text","advice"})");
    doctor
        ->add_flag_callback(
            "--report", [form] { *form = Form::report; },
            "One text for whoever is to help, without names of files, people and storages")
        ->excludes(json);
    doctor->callback([form, &exitStatus] {
        exitStatus = examine(*form);
        // A check that hangs still uses what an orderly end would take down.
        std::_Exit(apps::flushOutput("tsyncfinder") ? exitStatus : apps::usageTrouble);
    });
}

} // namespace apps::tsyncfinder::doctor
