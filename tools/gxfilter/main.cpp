// gxfilter, the command-line host: loads the filter plug-in and takes depth recordings through it.
#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "gxfilter/commands.h"
#include "gxfilter/report.h"
#include "hosting/schema.h"

namespace {

using namespace gxfilter;
using namespace hosting;
using namespace recordings;

constexpr const char* footer = "Exit status: 0 success; 1 anything not listed here; 2 wrong usage, "
                               "an unknown filter or\nparameter, or a value that the filter "
                               "rejects; 3 trouble with an input; 4 a filter failed\non a frame. "
                               "Frames written before a failure are kept. 5 a plug-in does not\n"
                               "conform.";

void add_plugin_option(CLI::App& command, std::filesystem::path& plugin) {
  command.add_option("--plugin", plugin,
                     "Plug-in library (by default the one that belongs to this program)");
}

void add_list_command(CLI::App& app, ListOptions& options) {
  CLI::App* command = app.add_subcommand("list", "List the filters: index and name");
  add_plugin_option(*command, options.plugin);
  command->add_flag("--json", options.json, "Print JSON, with the plug-in's path and commit");
}

void add_describe_command(CLI::App& app, DescribeOptions& options) {
  CLI::App* command = app.add_subcommand("describe", "Show a filter's parameters");
  add_plugin_option(*command, options.plugin);
  command->add_option("filter", options.filter, "Filter name")->required();
  command->add_flag("--json", options.json, "Print JSON");
}

/// Options that state one camera fact each; what is given goes into `facts`.
void add_camera_options(CLI::App& command, CameraFacts& facts) {
  struct FactOption {
    const char* option;
    const char* key;
    const char* help;
  };
  static constexpr FactOption fact_options[] = {
      {"--depth-unit", "depth_unit", "Millimetres per unit of a depth pixel (1)"},
      {"--fx", "fx", "Focal length, pixels (0.9 * width)"},
      {"--fy", "fy", "Focal length, pixels (fx)"},
      {"--cx", "cx", "Principal point, pixels (centre)"},
      {"--cy", "cy", "Principal point, pixels (centre)"},
      {"--baseline", "baseline", "Baseline, millimetres (50)"},
      {"--bit-size", "bit_size", "Significant bits of a pixel, 8 to 16 (16)"},
      {"--disparity-offset", "disparity_offset", "Frame metadata disparity offset (none)"},
  };
  for (const FactOption& fact : fact_options) {
    command
        .add_option_function<double>(
            fact.option, [&facts, key = fact.key](double value) { facts[key] = value; }, fact.help)
        ->group("Camera");
  }
  command
      .add_option_function<std::string>(
          "--pixel-type", [&facts](const std::string& type) { facts["pixel_type"] = type; },
          "What pixels hold (depth)")
      ->check(CLI::IsMember({"depth", "disparity", "tof"}))
      ->group("Camera");
  command
      .add_option_function<std::vector<std::string>>(
          "--d2d",
          [&facts](const std::vector<std::string>& pairs) {
            for (const std::string& pair : pairs) {
              const size_t equals = pair.find('=');
              double value = 0;
              if (equals == std::string::npos ||
                  !CLI::detail::lexical_cast(pair.substr(equals + 1), value)) {
                throw CLI::ValidationError("--d2d", "'" + pair + "' is not field=number");
              }
              facts["d2d"][std::string(trim(pair.substr(0, equals)))] = value;
            }
          },
          "Fields of the disparity record: zpd, zpps, baseline, fx, bitSize, unit,\n"
          "minDisparity, packMode, dispOffset, invalidDisp, dispIntPlace, isDualCamera")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("FIELD=NUMBER,...")
      ->group("Camera");
}

void add_run_command(CLI::App& app, RunOptions& options) {
  CLI::App* command = app.add_subcommand("run", "Filter one file or a recording");
  add_plugin_option(*command, options.plugin);
  command
      ->add_option("inputs", options.inputs,
                   "Pictures (16-bit .png or .pgm, .bin, .raw) or directories of them, in order")
      ->type_name("INPUT")
      ->required();
  command->add_option("--out", options.output, "Directory for the results")
      ->type_name("DIR")
      ->required();
  command
      ->add_option("--filter", options.filters,
                   "Filter with parameters; those that are not named keep their defaults.\n"
                   "Several make a chain. NAME:@FILE gives a configuration record instead")
      ->type_name("NAME[:KEY=VALUE,...]")
      ->allow_extra_args(false);
  command
      ->add_option(
          "--chain", options.chain,
          "JSON list of {\"filter\": NAME, \"params\": {KEY: VALUE}}, applied before --filter")
      ->type_name("FILE");
  command->add_option("--match", options.match, "Take only these files of a directory ('*.bin')")
      ->type_name("WILDCARDS");
  command->add_flag("--preview", options.preview,
                    "Write coloured before/after pictures too (STEM_preview.png)");
  command
      ->add_option_function<std::string>(
          "--crop",
          [&options](const std::string& text) {
            options.crop = parse_crop(text);
            if (!options.crop) {
              throw CLI::ValidationError("--crop", "'" + text + "' is not WIDTHxHEIGHT+X+Y");
            }
          },
          "Part of each frame that those pictures show")
      ->type_name("WxH+X+Y");
  command->add_option("--size", options.raw_size, "Size of headerless .raw files")
      ->type_name("WxH");
  command
      ->add_option("--camera", options.camera_file,
                   "Camera facts (by default camera.json or INPUT.json beside the first input);\n"
                   "the options below win over it")
      ->type_name("FILE");
  add_camera_options(*command, options.facts);
}

void add_synth_command(CLI::App& app, SynthOptions& options) {
  CLI::App* command = app.add_subcommand("synth", "Write a generated recording and camera.json");
  SceneSettings& scene = options.scene;
  command->add_option("--out", options.output, "Directory for the recording")
      ->type_name("DIR")
      ->required();
  command
      ->add_option_function<std::string>(
          "--size",
          [&scene](const std::string& text) {
            const auto size = parse_size(text);
            if (!size) {
              throw CLI::ValidationError("--size", "'" + text + "' is not WIDTHxHEIGHT");
            }
            scene.size = *size;
          },
          "Frame size (640x480)")
      ->type_name("WxH");
  command->add_option("--frames", options.frames, "Number of frames")
      ->capture_default_str()
      ->check(CLI::Range(1U, 1'000'000U));
  command->add_option("--seed", scene.seed, "Seed of everything random")->capture_default_str();
  command
      ->add_option_function<std::string>(
          "--pixel-type",
          [&scene](const std::string& type) {
            scene.pixel_type = type == "disparity" ? GX_PIXEL_DISPARITY : GX_PIXEL_DEPTH;
          },
          "What pixels hold (depth)")
      ->check(CLI::IsMember({"depth", "disparity"}));
  command->add_option("--pack-mode", scene.pack_mode, "Encoding of disparity codes, 1 or 2")
      ->capture_default_str()
      ->check(CLI::Range(1U, 2U));
  command->add_option("--depth-unit", scene.depth_unit, "Millimetres per unit of depth")
      ->capture_default_str()
      ->check(CLI::Range(1e-3, 1e3));
  command->add_option("--baseline", scene.baseline, "Baseline, millimetres")
      ->capture_default_str()
      ->check(CLI::Range(1.0, 1000.0));
  command->add_option("--noise", scene.noise, "Disparity noise, pixels")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 100.0));
  command->add_option("--holes", scene.holes, "Patches without data")
      ->capture_default_str()
      ->check(CLI::Range(0U, 100'000U));
  command->add_option("--speckles", scene.speckles, "False patches")
      ->capture_default_str()
      ->check(CLI::Range(0U, 100'000U));
  command->add_option("--bleed", scene.bleed, "Share of borders that smear")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1.0));
  command->add_option("--streaks", scene.streaks, "Share of borders that run out far at one depth")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1.0));
  command->add_option("--phantoms", scene.phantoms, "Smooth false patches before the scene")
      ->capture_default_str()
      ->check(CLI::Range(0U, 10'000U));
  command->add_option("--inset", scene.inset, "Pixels along each side without data")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command
      ->add_option("--fringe", scene.fringe, "Pixels of false depth along the outline of the rest")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command->add_option("--corner", scene.corner, "Radius of the fringe's corners, pixels")
      ->capture_default_str()
      ->check(CLI::Range(0U, 65'535U));
  command
      ->add_option("--disparity-offset", scene.disparity_offset,
                   "Pixels that the camera takes off every disparity")
      ->capture_default_str()
      ->check(CLI::Range(0U, 1'000U));
}

void add_validate_command(CLI::App& app, ValidateOptions& options) {
  CLI::App* command =
      app.add_subcommand("validate", "Check that a plug-in does what hosts rely on");
  add_plugin_option(*command, options.plugin);
  command->add_option("--filter", options.filter, "Check this filter alone")->type_name("NAME");
  command->add_flag("--verbose", options.verbose, "Tell every check, not just those that failed");
  command->add_flag("--json", options.json, "Print JSON");
  command
      ->add_option("--time-limit", options.time_limit,
                   "Seconds after which a single check counts as hung")
      ->capture_default_str()
      ->check(CLI::Range(1U, 86'400U));
}

ExitStatus run_program(int argc, char** argv) {
  CLI::App app("Applies the depth filters of the FilterProcessor plug-in to files", "gxfilter");
  app.footer(footer);
  app.require_subcommand(1);
  ListOptions list;
  DescribeOptions describe;
  RunOptions run;
  SynthOptions synth;
  ValidateOptions validate;
  add_list_command(app, list);
  add_describe_command(app, describe);
  add_run_command(app, run);
  add_synth_command(app, synth);
  add_validate_command(app, validate);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitStatus::ok : ExitStatus::usage;
  }
  if (app.got_subcommand("list"))
    return list_filters(list);
  if (app.got_subcommand("describe"))
    return describe_filter(describe);
  if (app.got_subcommand("validate"))
    return validate_plugin(validate);
  return app.got_subcommand("run") ? run_filters(run) : synthesize(synth);
}

} // namespace

int main(int argc, char** argv) {
  try {
    return static_cast<int>(run_program(argc, argv));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "gxfilter: error: %s\n", exception.what());
  } catch (...) {
    std::fputs("gxfilter: error: unknown\n", stderr);
  }
  return static_cast<int>(ExitStatus::other);
}
