#include "tesview/cli/options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <thread>

#include <CLI/CLI.hpp>

#include "replies/encodings.h"
#include "replies/layouts.h"
#include "replies/reply_reader.h"
#include "replies/suggest.h"
#include "replies/vocabulary.h"
#include "replies/words.h"
#include "tesview/cli/help.h"
#include "tesview/show/where.h"
#include "tesview/terminal/packing_of.h"
#include "tesview/terminal/terminal.h"

namespace tesview {

using replies::DidYouMean;
using replies::FindPayload;
using replies::FindType;
using replies::Form;
using replies::kFormWords;
using replies::Payload;
using replies::Trim;
using replies::TypeName;
using replies::TypeNames;
using replies::WholeNumber;
using replies::Word;

namespace {

constexpr int kMostJobs = 256;

constexpr Word<To> kTo[] = {{"table", To::kTable},   {"json", To::kJson},       {"pretty", To::kPretty},
                            {"ndjson", To::kNdjson}, {"csv", To::kCsv},         {"tsv", To::kTsv},
                            {"arrow", To::kArrow},   {"summary", To::kSummary}, {"text", To::kText},
                            {"html", To::kHtml},     {"bin", To::kBin}};
// Of a file's name.
constexpr Word<To> kEndings[] = {{".csv", To::kCsv},      {".tsv", To::kTsv},     {".ndjson", To::kNdjson},
                                 {".jsonl", To::kNdjson}, {".arrow", To::kArrow}, {".arrows", To::kArrow},
                                 {".json", To::kJson},    {".html", To::kHtml},   {".txt", To::kTable},
                                 {".txtpb", To::kText},   {".bin", To::kBin}};
constexpr Word<When> kWhen[] = {{"auto", When::kAuto}, {"always", When::kAlways}, {"never", When::kNever}};
constexpr Word<Header> kHeader[] = {
    {"name", Header::kName}, {"en", Header::kEnglish}, {"zh", Header::kChinese}};
constexpr Word<bool> kTime[] = {{"raw", false}, {"iso", true}};
constexpr Word<When> kStyle[] = {{"auto", When::kAuto}, {"box", When::kAlways}, {"plain", When::kNever}};
constexpr Word<ColumnsForm> kColumns[] = {{"table", ColumnsForm::kTable},
                                          {"json", ColumnsForm::kJson},
                                          {"markdown", ColumnsForm::kMarkdown},
                                          {"names", ColumnsForm::kNames}};
constexpr Word<bool> kStat[] = {{"table", false}, {"json", true}};
constexpr Word<PackForm> kPack[] = {{"raw", PackForm::kRaw},
                                    {"delimited", PackForm::kDelimited},
                                    {"fixed32be", PackForm::kFixed32Be},
                                    {"fixed32le", PackForm::kFixed32Le},
                                    {"hex", PackForm::kHex},
                                    {"base64", PackForm::kBase64}};

template <class T, size_t N>
std::vector<std::string> WordsOf(const Word<T> (&words)[N]) {
  std::vector<std::string> all;
  for (const Word<T>& each : words)
    all.emplace_back(each.word);
  return all;
}

std::string Listed(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words)
    list += (list.empty() ? "" : ", ") + word;
  return list;
}

template <class T, size_t N>
T ValueOf(const Word<T> (&words)[N], const std::string& given, const char* option) {
  for (const Word<T>& each : words) {
    if (given == each.word) return each.value;
  }
  throw UsageError(
      fmt::format("unknown word \"{}\" for {}; known: {}", given, option, Listed(WordsOf(words))));
}

// The options as they were given, before they are understood.
struct Given {
  std::vector<std::string> paths;
  std::string to = "table";
  std::string from = "auto";
  std::string type;
  std::string path;
  std::string columns;
  std::string head;
  std::string tail;
  std::string width;
  std::string jobs = "1";
  std::string color = "auto";
  std::string style = "auto";
  std::string progress = "auto";
  std::string pack_to = "raw";
  std::string generate;
  std::string header = "name";
  std::string time = "raw";
  std::string unpack;
  std::string id;
  std::string sample;
  std::string skip;
  std::string limit;
  std::vector<std::string> where;
  bool decode = false;
  bool table = false;
  bool json = false;
  bool pretty = false;
  bool nested = false;
  bool strict = false;
  bool resync = false;
  bool no_resync = false;
  std::string output;
  bool force = false;
  bool open = false;
  std::string split_by;
  bool bom = false;
  bool csv_safe = false;
  bool redact = false;
  bool no_redact = false;
  IdsRequest ids;
  std::string columns_type;
  std::string columns_to = "table";
  ColumnsRequest columns_of;
  bool stat_rows = false;
  std::string stat_to = "table";
  SchemaRequest schema;
  NumberRequest number;
  PackRequest pack;
};

int64_t NumberOf(const std::string& given, const char* option, int64_t least, int64_t most) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), value);
  if (error != std::errc() || end != given.data() + given.size() || value < least || value > most) {
    throw UsageError(fmt::format("\"{}\" for {} is no number from {} to {}", given, option, least, most));
  }
  return value;
}

bool IsKnown(TPType type) {
  const auto& known = TypeNames();
  return std::any_of(known.begin(), known.end(), [type](const TypeName& each) { return each.type == type; });
}

TPType TypeOf(const std::string& given) {
  const auto found = FindType(given);
  if (found && IsKnown(*found)) return *found;
  std::vector<std::string> names;
  for (const TypeName& type : TypeNames())
    names.emplace_back(type.name);
  const std::string near = DidYouMean(given, names);
  throw UsageError(fmt::format(
      "unknown type \"{}\" for --type{}", given,
      near.empty()
          ? "; known: DaDan, FenLeiChiCang, BxzjStock, BxzjBlock, Token, ZhiBiao1 to ZhiBiao16 and their "
            "numbers"
          : near));
}

// Blanks beside the commas are none of the names'.
std::vector<std::string> SplitAtCommas(const std::string& list, const char* option = "--columns",
                                       const char* what = "column") {
  std::vector<std::string> parts;
  size_t begin = 0;
  while (begin <= list.size()) {
    const size_t end = std::min(list.find(',', begin), list.size());
    const std::string_view part = Trim(std::string_view(list).substr(begin, end - begin));
    if (!part.empty()) parts.emplace_back(part);
    begin = end + 1;
  }
  if (parts.empty()) throw UsageError(fmt::format("{} names no {}", option, what));
  return parts;
}

// A number that is no Id of today may be one of a newer schema.
int32_t IdOf(const std::string& given) {
  if (const auto number = WholeNumber<int32_t>(given)) return *number;
  if (const Payload* payload = FindPayload(given)) return payload->id;
  std::vector<std::string> names;
  for (const Payload& payload : replies::Vocabulary())
    names.push_back(payload.name);
  const std::string near = DidYouMean(given, names);
  throw UsageError(
      fmt::format("no Id is called \"{}\"{}", given, near.empty() ? "; tesview ids lists them all" : near));
}

// "1/100", of which the first number is always 1.
uint64_t EveryOf(const std::string& given) {
  const auto every = given.compare(0, 2, "1/") == 0 ? WholeNumber<uint64_t>(given.substr(2)) : std::nullopt;
  if (!every || *every == 0)
    throw UsageError(fmt::format("\"{}\" for --sample is no part such as 1/100", given));
  return *every;
}

class CommandLine {
 public:
  CommandLine() : app_("shows replies of the market-data service", "tesview") {
    app_.set_help_flag("-h,--help", "Print this help.")->group("Other");
    app_.set_version_flag("--version", std::string("tesview " TESVIEW_VERSION), "Print the version.")
        ->group("Other");
    app_.add_option("--generate", given_.generate)->group("");
    DefineInput();
    DefineFilter();
    DefineOutput();
    DefineFiles();
    DefineChoice();
    DefineWork();
    DefineCommands();
  }

  Request Parse(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      const auto commands = app_.get_subcommands();
      return PrintRequest{commands.empty() ? HelpText(app_) : CommandHelpText(*commands[0])};
    } catch (const CLI::CallForVersion&) {
      return PrintRequest{"tesview " TESVIEW_VERSION "\n"};
    } catch (const CLI::ExtrasError&) {
      throw UsageError(Unexpected());
    } catch (const CLI::ArgumentMismatch& error) {
      // "--head: 1 required N missing"
      const std::string what = error.what();
      throw UsageError(what.substr(0, what.find(':')) + " needs a value");
    } catch (const CLI::RequiredError& error) {
      const std::string what = error.what();
      throw UsageError(app_.get_subcommands()[0]->get_name() + " needs a " + what.substr(0, what.find(' ')));
    } catch (const CLI::ParseError& error) {
      throw UsageError(error.what());
    }
    if (!given_.generate.empty()) return PrintRequest{Generated()};
    if (stat_->parsed()) return UnderstoodStat();
    if (ids_->parsed()) return given_.ids;
    if (columns_->parsed()) return UnderstoodColumns();
    if (schema_->parsed()) return given_.schema;
    if (number_->parsed()) return UnderstoodNumber();
    if (pack_->parsed()) return UnderstoodPack();
    return UnderstoodShow();
  }

 private:
  void DefineInput() {
    app_.add_option(
        "FILE", given_.paths,
        "Files with replies, and directories, whose files are read by name with those below them; \"-\" or "
        "no FILE is standard input. A file that is called like a command is given as ./ids.");
    app_.add_option(
            "--from", given_.from,
            "How FILE holds replies: raw (one reply), delimited (a stream, each reply with its "
            "length as a varint before it), fixed32be, fixed32le (the same, the length in four bytes, the "
            "highest or the lowest first), hex, base64 (a line is a reply, or all lines together are; "
            "of a line of a log every run of digits that is one), lines (a log, of which each line is read "
            "separately and as soon as it arrives), text (protobuf text form). auto, the default, "
            "detects it.")
        ->type_name("FORM")
        ->group("Input")
        ->take_last();
    auto* resync =
        app_.add_flag("--resync", given_.resync,
                      "Where a stream is damaged, look for the next reply and go on there; what was skipped "
                      "is told with its offset and length. This is so unless --no-resync is given.")
            ->group("Input");
    app_.add_flag("--no-resync", given_.no_resync, "Read a stream no further than to its first damage.")
        ->group("Input")
        ->excludes(resync);
  }

  void DefineFilter() {
    AddFilter(
        &app_, "--id", "ID,...", &given_.id,
        "Take only replies of these Ids, numbers or names as tesview ids has them; given again, it adds to "
        "them. The first field of a reply tells its Id: nothing else is looked at.")
        ->join(',');
    AddFilter(
        &app_, "--sample", "1/N", &given_.sample,
        "Of each file take one reply of N, the first: of 1/100 those with the numbers 1, 101, 201 and so "
        "on, counted before --id. The same ones each time.");
    AddFilter(&app_, "--skip", "N", &given_.skip,
              "Pass over the first N replies that the other filters leave.");
    AddFilter(&app_, "--limit", "N", &given_.limit,
              "Take no more than N replies of those that all other filters leave. Nothing is read behind the "
              "last one.");
  }

  // The same of a command that reads replies.
  void DefineFilterOf(CLI::App* command) {
    AddFilter(command, "--id", "ID,...", &given_.id, "Count only replies of these Ids.")->join(',');
    AddFilter(command, "--sample", "1/N", &given_.sample, "Of each file one reply of N, the first.");
    AddFilter(command, "--skip", "N", &given_.skip, "Not the first N replies.");
    AddFilter(command, "--limit", "N", &given_.limit, "No more than N replies.");
  }

  static CLI::Option* AddFilter(CLI::App* app, const char* name, const char* value, std::string* given,
                                const char* text) {
    return app->add_option(name, *given, text)->type_name(value)->group("Filter")->take_last();
  }

  void DefineOutput() {
    to_ =
        app_.add_option(
                "--to", given_.to,
                "Form of output: table (the default), json (one line, as the library writes it), pretty "
                "(the same over many lines), ndjson, csv, tsv, arrow (Arrow's stream format), summary (Id, payload, sizes and times), text "
                "(protobuf text form), html (a page for a browser, with tables and charts, in one file), bin "
                "(the replies' own bytes, each with its length before it). With --output the file's name "
                "tells it.")
            ->type_name("FORM")
            ->group("Output")
            ->take_last();
    app_.add_flag("--table", given_.table,
                  "As --to table, but a reply without a table form is an error instead of JSON.")
        ->group("Output")
        ->excludes(to_);
    app_.add_flag("--json", given_.json, "As --to json.")->group("Output")->excludes(to_);
    app_.add_flag("--pretty", given_.pretty, "As --to pretty.")->group("Output")->excludes(to_);
    app_.add_flag("--nested", given_.nested, "With --to arrow, tables as lists, a row for each outer row.")
        ->group("Output");
    auto* output =
        app_.add_option("-o,--output", given_.output,
                        "Write to this file, which must not be there yet; it gets its name when it is whole. "
                        "The form goes by its ending: .csv, .tsv, .ndjson or .jsonl, .json, .arrow or "
                        ".arrows, .html, .txt (tables), .txtpb (protobuf text form), .bin; compressed with "
                        ".gz, .bz2, .xz, .zst or .lz4 behind it.")
            ->type_name("FILE")
            ->group("Output")
            ->take_last();
    app_.add_flag("--force", given_.force, "With --output, replace the file if it is there.")
        ->group("Output")
        ->needs(output);
    app_.add_flag("--open", given_.open, "With --output, open the page in the browser (xdg-open).")
        ->group("Output")
        ->needs(output);
    output_ = output;
    app_.add_option("--color", given_.color,
                    "Colour: always, never, or auto (only in a terminal, and not if NO_COLOR is set).")
        ->type_name("WHEN")
        ->group("Output")
        ->take_last();
    app_.add_option("--style", given_.style,
                    "Tables with lines (box), without (plain), or auto (box in a terminal).")
        ->type_name("STYLE")
        ->group("Output")
        ->take_last();
    app_.add_option(
            "--header", given_.header,
            "Headings of tables: name (the columns' own names), en, or zh. They are made up for reading; "
            "--columns takes names.")
        ->type_name("WORDS")
        ->group("Output")
        ->take_last();
    app_.add_option(
            "--time", given_.time,
            "raw (as the columns have them), or iso: 2024-06-17 15:00:00, Beijing time, in every form, "
            "where the kind of time is known.")
        ->type_name("FORM")
        ->group("Output")
        ->take_last();
    app_.add_option(
            "--width", given_.width,
            "Width of the screen in columns; 0 cuts nothing. The default is the terminal's width, and 0 "
            "elsewhere.")
        ->type_name("N")
        ->group("Output")
        ->take_last();
  }

  void DefineFiles() {
    app_.add_option("--split-by", given_.split_by,
                    "With --output, write many files: by id, obj (the instrument of the row) or date (its "
                    "day), or several of them with commas. FILE is a pattern with {id} or {name}, {obj} and "
                    "{date}, as in 'DIR/{id}.csv'. All files are there at the end, or none.")
        ->type_name("KEY,...")
        ->group("Output")
        ->needs(output_)
        ->take_last();
    app_.add_flag("--bom", given_.bom, "Begin csv and tsv with a byte order mark, for spreadsheets.")
        ->group("Output");
    app_.add_flag("--csv-safe", given_.csv_safe,
                  "In csv and tsv, a ' before texts that begin with =, +, -, @, a tab or a carriage return: "
                  "spreadsheets run such texts.")
        ->group("Output");
    auto* redact =
        app_.add_flag("--redact", given_.redact,
                      "Tokens, passwords and accounts as ***. A terminal gets them so unless --no-redact is "
                      "given.")
            ->group("Output");
    app_.add_flag("--no-redact", given_.no_redact, "Show them in a terminal as well.")
        ->group("Output")
        ->excludes(redact);
  }

  void DefineChoice() {
    app_.add_option(
            "--where", given_.where,
            "Show only rows for which comparisons hold, as in 'Obj=SH600000 and Data.ShouPanJia>12.5', "
            "and only replies with such rows. Given again, it adds to them. See Comparisons.")
        ->type_name("TEXT")
        ->group("Choice")
        ->allow_extra_args(false);
    app_.add_option(
            "--type", given_.type,
            "Take the layout of this name or number instead of that of the reply's Id: DaDan, "
            "FenLeiChiCang, BxzjStock, Token, ZhiBiao1 to ZhiBiao16. Ids 44, 296 and 430, which have no "
            "layout of their own and one of a type, are shown in that without it.")
        ->type_name("TYPE")
        ->group("Choice")
        ->take_last();
    app_.add_flag(
            "--decode", given_.decode,
            "Take the fields of the payload as columns, by the schema alone: for replies without a table.")
        ->group("Choice")
        ->excludes("--type");
    unpack_ =
        app_.add_option(
                "--unpack", given_.unpack,
                "With --decode, unpack these 64-bit fields; without names, all of market data that are not "
                "known to be plain. Those that are known to be packed are always unpacked.")
            ->type_name("NAME,...")
            ->group("Choice")
            ->expected(0, 1)
            ->take_last();
    app_.add_option("--path", given_.path,
                    "Show only the table in this cell, row/column, as in 0/Data or 0/Data/2/Inner; */Data or "
                    "Data are those of all rows.")
        ->type_name("PATH")
        ->group("Choice")
        ->take_last();
    app_.add_option("--columns", given_.columns,
                    "Show only these columns, in this order, in whichever table they are, or by the names "
                    "that lead to them, as in Data.ShiJian; a column of tables shows all of its tables.")
        ->type_name("NAME,...")
        ->group("Choice")
        ->take_last();
    auto* head = app_.add_option("--head", given_.head, "Show only the first N rows of each table.")
                     ->type_name("N")
                     ->group("Choice")
                     ->take_last();
    app_.add_option("--tail", given_.tail, "Show only the last N rows of each table.")
        ->type_name("N")
        ->group("Choice")
        ->take_last()
        ->excludes(head);
  }

  void DefineWork() {
    app_.add_option(
            "-j,--jobs", given_.jobs,
            "Show N replies at once; 0 takes all processors. The output stays in the order of the input.")
        ->type_name("N")
        ->group("Work")
        ->take_last();
    app_.add_flag(
            "--strict", given_.strict,
            "Stop at the first reply that cannot be shown or file that cannot be read. Lines of a log that "
            "look like replies and are none, which are counted otherwise, are an error.")
        ->group("Work");
    app_.add_option("--progress", given_.progress,
                    "Show progress in a line on standard error: always, never, or auto (if standard error "
                    "is a terminal and standard output is not).")
        ->type_name("WHEN")
        ->group("Work")
        ->take_last();
  }

  void DefineCommands() {
    app_.require_subcommand(0, 1);
    DefineStat();
    ids_ = app_.add_subcommand("ids", "List the Ids, the payload of each and which have a table.");
    ids_->add_option("WORD", given_.ids.words,
                     "Only Ids with this number, or with this word in their name or in what they are.");
    ids_->add_flag("--table", given_.ids.only_tables, "Only Ids with a table.");

    columns_ = app_.add_subcommand("columns", "Tell what the columns of tables mean.");
    columns_->add_option(
        "ID", given_.columns_of.words,
        "An Id or its name, with the tables inside its table; 21/Data tells of that table alone, "
        "21/ of the outer one. The default is all that is described.");
    columns_->add_option("--type", given_.columns_type, "The layout of this name or number.")
        ->type_name("TYPE")
        ->take_last();
    columns_
        ->add_option("--to", given_.columns_to,
                     "table (the default), json, markdown, or names (of the columns alone, each once).")
        ->type_name("FORM")
        ->take_last();

    schema_ = app_.add_subcommand("schema", "Print the definition of a message or an enumeration.");
    schema_->add_option("NAME", given_.schema.names, "Its name, or the Id that carries it.")->required();
    schema_->add_flag("--all", given_.schema.all, "With all messages that it uses.");

    number_ = app_.add_subcommand("number", "Unpack packed decimals, as JSON shows them.");
    number_->footer("VALUE...");
    number_->add_flag("--packed", given_.number.packed, "Say what scale and sign they carry.");
    number_->add_flag("--pack", given_.number.pack, "The other way: from 12.34 to the packed number.");
    // A negative number is no option.
    number_->allow_extras();

    pack_ = app_.add_subcommand("pack", "Turn replies from protobuf text form to bytes.");
    pack_
        ->add_option("FILE", given_.pack.paths,
                     "Files in text form; \"-\" is standard "
                     "input.")
        ->required();
    pack_->add_option("-o,--output", given_.pack.output, "Write there instead of to standard output.")
        ->type_name("FILE")
        ->take_last();
    pack_
        ->add_option(
            "--to", given_.pack_to,
            "raw (the default, one reply), delimited, fixed32be, fixed32le, hex or base64 (a line for each reply).")
        ->type_name("FORM")
        ->take_last();
    pack_->add_flag("--partial", given_.pack.partial,
                    "Let required fields be missing, for replies that are to fail.");
    for (CLI::App* command : {stat_, ids_, columns_, schema_, number_, pack_})
      command->set_help_flag("-h,--help", "Print this help.");
  }

  void DefineStat() {
    stat_ =
        app_.add_subcommand("stat", "Count the replies of each Id, and their bytes, without decoding them.");
    stat_->add_option("FILE", given_.paths, "As without a command.");
    stat_->add_flag("--rows", given_.stat_rows,
                    "Decode them: the rows that ndjson has a line for, the first and the last time, of the "
                    "first column of times in each table, and how many replies cannot be decoded.");
    stat_
        ->add_option(
            "--to", given_.stat_to,
            "table (the default), or json: one document with replies, bytes, damaged and ids, a list with id, "
            "payload, replies, bytes and share; with --rows also rows, failed, first and last.")
        ->type_name("FORM")
        ->take_last();
    stat_->add_option("--from", given_.from, "How FILE holds replies, as without a command.")
        ->type_name("FORM")
        ->take_last();
    DefineFilterOf(stat_);
    stat_
        ->add_option("-j,--jobs", given_.jobs,
                     "Look at N parts of a large file at once; without it as many as there are processors. "
                     "With --rows, decode N replies at once; without it one. 0 takes all processors.")
        ->type_name("N")
        ->take_last();
    stat_->add_flag("--strict", given_.strict,
                    "Stop where the input is damaged or a reply cannot be decoded.");
    stat_
        ->add_option("--progress", given_.progress,
                     "always, never, or auto (if standard error is a terminal).")
        ->type_name("WHEN")
        ->take_last();
  }

  std::string Generated() const {
    if (given_.generate == "man") return ManualPage(app_);
    // The two that never give a layout of their own are known, but not offered.
    std::vector<std::string> types;
    for (const TypeName& type : TypeNames()) {
      if (type.type != TPTypeById && type.type != TPTypeBxzjBlock) types.emplace_back(type.name);
    }
    std::string text = Completions(app_,
                                   {{"--to", WordsOf(kTo)},
                                    {"--from", WordsOf(kFormWords)},
                                    {"--type", types},
                                    {"--header", WordsOf(kHeader)},
                                    {"--time", WordsOf(kTime)},
                                    {"--color", WordsOf(kWhen)},
                                    {"--style", WordsOf(kStyle)},
                                    {"--progress", WordsOf(kWhen)},
                                    {"--split-by", {"id", "obj", "date"}},
                                    {"stat --to", WordsOf(kStat)},
                                    {"stat --from", WordsOf(kFormWords)},
                                    {"stat --progress", WordsOf(kWhen)},
                                    {"columns --type", types},
                                    {"columns --to", WordsOf(kColumns)},
                                    {"pack --to", WordsOf(kPack)}},
                                   given_.generate);
    if (text.empty())
      throw UsageError(
          fmt::format("unknown word \"{}\" for --generate; known: man, bash, zsh, fish", given_.generate));
    return text;
  }

  // The first argument that nobody knows, and what it may have been meant to be. It is an option: there is no
  // end to the names that the program and each command take.
  std::string Unexpected() {
    const bool before_command = app_.remaining_size() != 0;
    return UnknownOption(before_command ? app_ : *app_.get_subcommands()[0], app_.remaining(true).at(0));
  }

  static std::string UnknownOption(const CLI::App& app, const std::string& given) {
    const std::string name = given.substr(0, given.find('='));
    std::vector<std::string> known;
    for (const CLI::Option* option : app.get_options()) {
      if (option->get_group().empty()) continue;
      for (const std::string& each : option->get_lnames())
        known.push_back("--" + each);
    }
    return fmt::format("unknown option {}{}", name, DidYouMean(name, known));
  }

  ColumnsRequest UnderstoodColumns() {
    ColumnsRequest columns = given_.columns_of;
    if (!given_.columns_type.empty()) columns.type = TypeOf(given_.columns_type);
    columns.form = ValueOf(kColumns, given_.columns_to, "--to");
    return columns;
  }

  NumberRequest UnderstoodNumber() {
    NumberRequest number = given_.number;
    number.values = number_->remaining();
    for (const std::string& value : number.values) {
      if (value.size() > 1 && value[0] == '-' && std::isdigit(static_cast<unsigned char>(value[1])) == 0 &&
          value[1] != '.')
        throw UsageError(UnknownOption(*number_, value));
    }
    if (number.values.empty()) throw UsageError("number needs a VALUE, such as 0x4D2");
    return number;
  }

  PackRequest UnderstoodPack() {
    PackRequest pack = given_.pack;
    pack.form = ValueOf(kPack, given_.pack_to, "--to");
    if (pack.form == PackForm::kRaw && pack.paths.size() > 1) {
      throw UsageError("raw holds one reply; several FILEs take --to delimited, hex or base64");
    }
    if (pack.form != PackForm::kHex && pack.form != PackForm::kBase64 && pack.output.empty() &&
        IsTerminal(STDOUT_FILENO)) {
      throw UsageError("a terminal cannot show bytes; take --to hex, -o FILE or a pipe");
    }
    return pack;
  }

  ShowRequest UnderstoodShow() {
    if (!given_.unpack.empty()) TakeBackFile();
    ShowRequest show;
    show.paths = UnderstoodPaths();
    show.strict = given_.strict;
    RefuseMistypedCommand(show.paths[0]);
    show.from = ValueOf(kFormWords, given_.from, "--from");
    show.resync = !given_.no_resync;
    show.filter = UnderstoodFilter();
    show.jobs = UnderstoodJobs();
    show.progress = ValueOf(kWhen, given_.progress, "--progress");
    UnderstandView(&show.view);
    if (show.view.where && show.view.to == To::kArrow && (show.filter.skip != 0 || show.filter.limit))
      throw UsageError("--to arrow takes --where without --skip and --limit");
    UnderstandOutput(&show);
    UnderstandFiles(&show);
    return show;
  }

  StatRequest UnderstoodStat() const {
    StatRequest stat;
    stat.paths = UnderstoodPaths();
    stat.from = ValueOf(kFormWords, given_.from, "--from");
    stat.filter = UnderstoodFilter();
    stat.rows = given_.stat_rows;
    stat.as_json = ValueOf(kStat, given_.stat_to, "--to");
    const bool jobs_given = app_.count("--jobs") + stat_->count("--jobs") != 0;
    stat.jobs = jobs_given || stat.rows ? UnderstoodJobs() : Processors();
    stat.strict = given_.strict;
    stat.progress = ValueOf(kWhen, given_.progress, "--progress");
    return stat;
  }

  std::vector<std::string> UnderstoodPaths() const {
    if (!given_.paths.empty()) return given_.paths;
    if (IsTerminal(STDIN_FILENO))
      throw UsageError("no FILE is given, and standard input is a terminal (- reads it all the same)");
    return {"-"};
  }

  static int Processors() {
    return static_cast<int>(std::clamp<int64_t>(std::thread::hardware_concurrency(), 1, kMostJobs));
  }

  int UnderstoodJobs() const {
    const int64_t jobs = NumberOf(given_.jobs, "--jobs", 0, kMostJobs);
    return jobs == 0 ? Processors() : static_cast<int>(jobs);
  }

  FilterRequest UnderstoodFilter() const {
    constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
    FilterRequest filter;
    if (!given_.id.empty()) {
      for (const std::string& id : SplitAtCommas(given_.id, "--id", "Id"))
        filter.ids.push_back(IdOf(id));
    }
    if (!given_.sample.empty()) filter.every = EveryOf(given_.sample);
    if (!given_.skip.empty()) filter.skip = static_cast<uint64_t>(NumberOf(given_.skip, "--skip", 0, kMost));
    if (!given_.limit.empty())
      filter.limit = static_cast<uint64_t>(NumberOf(given_.limit, "--limit", 0, kMost));
    return filter;
  }

  // A word that is no file, but nearly a command.
  static void RefuseMistypedCommand(const std::string& word) {
    if (word == "-" || word.find_first_of("./") != std::string::npos || access(word.c_str(), F_OK) == 0)
      return;
    const std::string near = DidYouMean(word, {"stat", "ids", "columns", "schema", "number", "pack"});
    if (!near.empty() || word == "help")
      throw UsageError(fmt::format("no file or command is called \"{}\"{}", word, near));
  }

  std::shared_ptr<const Where> UnderstoodWhere() const {
    if (given_.where.empty()) return nullptr;
    auto where = std::make_shared<Where>();
    for (const std::string& text : given_.where) {
      std::string error;
      if (!where->Add(text, &error)) throw UsageError(fmt::format("--where \"{}\": {}", text, error));
    }
    return where;
  }

  replies::Unpack UnderstoodUnpack() const {
    if (unpack_->count() == 0) return {};
    if (given_.unpack.empty()) return {true, {}};
    return {false, SplitAtCommas(given_.unpack, "--unpack")};
  }

  // The value of --unpack may be left out: a word behind it that is no list of names is a FILE.
  void TakeBackFile() {
    const bool is_file = given_.unpack == "-" || given_.unpack.find_first_of("./") != std::string::npos ||
                         access(given_.unpack.c_str(), F_OK) == 0;
    if (!is_file) return;
    given_.paths.insert(given_.paths.begin(), given_.unpack);
    given_.unpack.clear();
  }

  void UnderstandView(View* view) {
    if (given_.table + given_.json + given_.pretty > 1)
      throw UsageError("only one of --table, --json and --pretty can be had");
    view->to = ValueOf(kTo, given_.to, "--to");
    if (!given_.output.empty() && to_->count() == 0 && !given_.table && !given_.json && !given_.pretty)
      view->to = FormOfName(given_.output);
    if (given_.json) view->to = To::kJson;
    if (given_.pretty) view->to = To::kPretty;
    view->table_or_nothing = given_.table;
    if (!given_.type.empty()) view->type = TypeOf(given_.type);
    view->path = given_.path;
    view->header = ValueOf(kHeader, given_.header, "--header");
    view->iso_times = ValueOf(kTime, given_.time, "--time");
    if (given_.decode) view->decode = UnderstoodUnpack();
    if (!given_.decode && unpack_->count() != 0) throw UsageError("--unpack takes --decode with it");
    if (!given_.columns.empty()) view->columns = SplitAtCommas(given_.columns);
    view->where = UnderstoodWhere();
    constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
    if (!given_.head.empty()) view->head = NumberOf(given_.head, "--head", 0, kMost);
    if (!given_.tail.empty()) view->tail = NumberOf(given_.tail, "--tail", 0, kMost);
    view->nested = given_.nested;
    RefuseWithoutTable(*view);
    RefuseInArrow(*view);
    const bool terminal = ToTerminal();
    view->visible = terminal;
    const When color = ValueOf(kWhen, given_.color, "--color");
    view->color = color == When::kAlways || (color == When::kAuto && terminal && ColorWelcome());
    const When style = ValueOf(kStyle, given_.style, "--style");
    view->boxes = style == When::kAlways || (style == When::kAuto && terminal);
    view->width = given_.width.empty() ? (terminal ? TerminalWidth(STDOUT_FILENO) : 0)
                                       : static_cast<size_t>(NumberOf(given_.width, "--width", 0, kMost));
  }

  void UnderstandOutput(ShowRequest* show) const {
    show->output = given_.output;
    show->replace = given_.force;
    show->open = given_.open;
    const bool html = show->view.to == To::kHtml;
    if (show->open && !html) throw UsageError("--open shows a page; take --to html or a FILE.html with it");
    if (html && ToTerminal()) throw UsageError("a terminal cannot show a page; take -o FILE or a pipe");
    if (show->view.to == To::kBin && ToTerminal())
      throw UsageError("a terminal cannot show bytes; take -o FILE or a pipe");
    const View& view = show->view;
    if (html && (!view.path.empty() || !view.columns.empty() || view.head >= 0 || view.tail >= 0))
      throw UsageError("--to html takes no --path, --columns, --head or --tail; choose in the page");
  }

  bool ToTerminal() const { return given_.output.empty() && IsTerminal(STDOUT_FILENO); }

  // What the ending of a file's name says, in front of one of a compression.
  static To FormOfName(const std::string& path) {
    const std::string_view name = WithoutPacking(path);
    for (const Word<To>& each : kEndings) {
      const std::string_view ending = each.word;
      if (name.size() > ending.size() && name.substr(name.size() - ending.size()) == ending)
        return each.value;
    }
    throw UsageError(fmt::format("the ending of \"{}\" tells no form; take --to with it, or one of {}", path,
                                 Listed(WordsOf(kEndings))));
  }

  void UnderstandFiles(ShowRequest* show) const {
    View& view = show->view;
    const bool fields = view.to == To::kCsv || view.to == To::kTsv;
    if (given_.bom && !fields) throw UsageError("--bom takes --to csv or tsv");
    if (given_.csv_safe && !fields) throw UsageError("--csv-safe takes --to csv or tsv");
    show->bom = given_.bom;
    view.csv_safe = given_.csv_safe;
    show->redact = given_.redact || (ToTerminal() && !given_.no_redact);
    if (given_.split_by.empty()) return;
    for (const std::string& key : SplitAtCommas(given_.split_by, "--split-by", "key")) {
      if (key != "id" && key != "obj" && key != "date")
        throw UsageError(fmt::format("unknown word \"{}\" for --split-by; known: id, obj, date", key));
      view.split.id = view.split.id || key == "id";
      view.split.obj = view.split.obj || key == "obj";
      view.split.date = view.split.date || key == "date";
    }
    RefuseToSplit(view);
    const auto has = [&](const char* placeholder) {
      return given_.output.find(placeholder) != std::string::npos;
    };
    if (view.split.id != (has("{id}") || has("{name}")) || view.split.obj != has("{obj}") ||
        view.split.date != has("{date}")) {
      throw UsageError(fmt::format(
          "--split-by {} and the name \"{}\" do not go together: each key stands in the name, as {{id}} or "
          "{{name}}, {{obj}}, {{date}}, and no other",
          given_.split_by, given_.output));
    }
  }

  static void RefuseToSplit(const View& view) {
    const bool rows = view.to == To::kCsv || view.to == To::kTsv || view.to == To::kNdjson;
    if (view.split.OfRows() && !rows)
      throw UsageError("--split-by obj and date tell rows apart; take csv, tsv or ndjson");
    if (!rows && view.to != To::kJson && view.to != To::kBin)
      throw UsageError("--split-by takes csv, tsv, ndjson, json or bin");
  }

  // JSON and text form show the reply, not a table.
  static void RefuseWithoutTable(const View& view) {
    if (view.to != To::kJson && view.to != To::kPretty && view.to != To::kText && view.to != To::kSummary &&
        view.to != To::kBin)
      return;
    const bool summary = view.to == To::kSummary;
    if ((view.type && !summary) || view.decode || !view.path.empty() || !view.columns.empty() ||
        view.head >= 0 || view.tail >= 0) {
      throw UsageError(
          summary
              ? "a summary takes no --decode, --path, --columns, --head or --tail"
              : "--type, --decode, --path, --columns, --head and --tail choose from a table; take --to table, ndjson, "
                "csv, tsv or arrow");
    }
  }

  // Its readers choose rows, and tell times from numbers, themselves.
  void RefuseInArrow(const View& view) const {
    if (view.to != To::kArrow) {
      if (view.nested) throw UsageError("--nested takes --to arrow with it");
      return;
    }
    if (!view.path.empty()) {
      throw UsageError("--path is for a single table, and a stream of Arrow has many; take --columns");
    }
    if (view.head >= 0 || view.tail >= 0)
      throw UsageError("--to arrow takes no --head or --tail: its readers choose rows");
    if (view.iso_times)
      throw UsageError("--to arrow takes no --time iso: times stay as the columns have them");
    if (ToTerminal()) throw UsageError("a terminal cannot show Arrow; take a file or a pipe");
  }

  CLI::App app_;
  CLI::Option* to_ = nullptr;
  CLI::Option* output_ = nullptr;
  CLI::Option* unpack_ = nullptr;
  CLI::App* stat_ = nullptr;
  CLI::App* ids_ = nullptr;
  CLI::App* columns_ = nullptr;
  CLI::App* schema_ = nullptr;
  CLI::App* number_ = nullptr;
  CLI::App* pack_ = nullptr;
  Given given_;
};

}  // namespace

Request ParseArguments(int argc, const char* const* argv) {
  return CommandLine().Parse(argc, argv);
}

}  // namespace tesview
