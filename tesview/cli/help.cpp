#include "tesview/cli/help.h"

#include <fmt/format.h>

#include <algorithm>

#include <CLI/CLI.hpp>

namespace tesview {
namespace {

constexpr size_t kHelpWidth = 80;
constexpr size_t kSynopsisIndent = 7;

struct Entry {
  std::string term;
  std::string text;
};

struct Section {
  std::string title;
  std::vector<std::string> paragraphs;
  std::vector<Entry> entries;
};

struct Page {
  std::string purpose;
  std::vector<std::string> synopsis;
  std::vector<Section> sections;
};

// ---- what is said ----

Section Introduction() {
  return {"Description",
          {"Reads replies from files, directories or standard input, in whatever form they have, and shows "
           "each one: its Id "
           "with the name of its payload, then its table and the tables inside it, or its JSON if it has no "
           "table form."},
          {}};
}

// Each line can be run as it is; a test does so.
Section Examples() {
  return {"Examples",
          {},
          {{"tesview quotes.bin", "Show the reply in a file."},
           {"tesview --path 0/Data --columns ShiJian,ShouPanJia --tail 5 kline.bin",
            "Show the last five closing prices of the first instrument."},
           {"grep reply service.log | tesview", "Find hexadecimal or base64 replies in the lines of a log."},
           {"tesview --jobs 0 --to ndjson replies.stream | head -3",
            "Turn a stream of replies into lines for other tools."},
           {"tesview --to csv kline.bin > kline.csv", "Write a reply's table for a spreadsheet."},
           {"tesview --to arrow kline.bin > kline.arrows", "Write it for an engine or a data frame."},
           {"tesview --to summary replies/",
            "List the replies in a directory, and how long each takes to decode."},
           {"tesview ids kline", "List the Ids that have to do with klines, and whether they have a table."},
           {"tesview schema QuoteKlineSingle", "Show what is in such a reply."},
           {"tesview number 0x4D2", "Unpack a packed decimal: 12.34."},
           {"tesview pack reply.txtpb | tesview --to json", "Make a reply from text and look at it."}}};
}

Section InputRules() {
  return {
      "Compressed and damaged input",
      {"What gzip, bzip2, xz, zstd or lz4 compressed is recognised by its first bytes, whatever FILE is "
       "called, and offsets are those in the uncompressed bytes. Out of it a reply may have at most 256 MB; for "
       "a larger one, unpack the file before: zstd -dc FILE | tesview. Where such a file is damaged or cut "
       "off, what was whole before is shown.",
       "A stream whose replies have their lengths before them is read on behind damage: stray bytes, a wrong "
       "length, a reply that was left half written. The next reply is one that fits its length to the byte, "
       "or that another one follows. What was skipped counts as one reply."},
      {}};
}

Section TableRules() {
  return {
      "Tables",
      {"Numbers are aligned at the decimal point, doubles in at most 15 significant digits. Each "
       "row starts with its number. A cell with a table shows rows \xC3\x97 columns; the tables follow, "
       "indented, each under its "
       "path (0/Data is the cell in row 0, column Data). Tables of one row each are joined into one "
       "(*/Data). HasBits is "
       "hexadecimal, bytes are cut to 16.",
       "A middle dot (\xC2\xB7) is a cell that was not set, '' an empty text, (empty) a cell that was "
       "set to no table. Text is "
       "UTF-8, with U+FFFD for bytes that are none. Characters that would control the terminal are shown as \\n, \\x1b or \\u202e.",
       "If the width of the screen is known and a table is wider, texts, lists and bytes are cut, down "
       "to 40 columns. If that is not enough, a table of one row is "
       "turned on its side, and other tables lose columns from the right until the rest fits; the names "
       "of these follow, once for all tables that lack the same. "
       "Nothing is cut in a pipe or a file. For a pager: --style box --color always FILE | less -RS."},
      {}};
}

Section WhereRules() {
  return {
      "Comparisons",
      {"--where takes comparisons joined with and: a column, one of =, !=, <, <=, >, >= and ~, and a value, in "
       "quotes where it has blanks, quotes or the word and in it (a quote inside is doubled). A column inside "
       "tables goes by its name, or by the names that lead to it (Data.ShiJian), as --columns takes them; of a "
       "name that several tables have, the outermost on each way inwards counts. ~ holds where the text of the "
       "value is a part of the cell's.",
       "A row is shown if the comparisons with its own columns hold, and if for each of the others some row of "
       "a table in it is shown; of tables without a compared column all rows are. A reply without such rows "
       "is not shown and no error, nor is one that has no table or no such column. json, pretty, text and "
       "summary show replies that have such rows as a whole. --skip and --limit count the replies that are "
       "left; --to arrow takes neither with it.",
       "Numbers are compared as numbers (also 0x1f), texts by their bytes in UTF-8, capital letters as "
       "others than small ones. A cell with several numbers takes one for which it holds. A time, '2024-06-17', "
       "'2024-06-17 10:00', '10:00:30', is compared with columns whose kind of time is known, whatever they "
       "hold: it stands for the whole day, minute or second, and one without a date for that of any day. "
       "A cell that was not set matches nothing, not even !=."},
      {}};
}

Section LineRules() {
  return {
      "Lines for other tools",
      {"ndjson and csv are flat: a row with tables in it gives one line for each of their rows, with the "
       "outer cells repeated and the "
       "inner ones called Data.ShiJian; if there are several columns of tables, the lines of one follow "
       "those of the other. A row without inner "
       "rows gives one line. A column whose name is taken, by another one or by _file, _reply, "
       "_offset, _id and _row, is called Name#5 after its index. Doubles are in the fewest digits that give the same double. Counted "
       "cells are lists, in csv with blanks "
       "between the numbers; bytes are base64.",
       "ndjson: _file and _reply (from 1) where there are several, _id, _row (the path of the row, "
       "\"0/Data/3\"), then the columns. A "
       "cell that was not set is null, one set to a table without rows []; both are repeated in each line "
       "of their row. NaN and infinity are texts. A reply "
       "without a table form is one "
       "line with its JSON under _json.",
       "csv: UTF-8, quoted where necessary, lines end in a line feed. A cell that was not set is left empty "
       "(with a single column the line is empty), an empty text is \"\"; a line of another "
       "column of tables leaves the columns of this one empty. _file and _reply are there as in ndjson, both "
       "where there are several files. One output has one header: a reply with other columns than those "
       "before it is left out, which is said once for each Id. A reply without a table form is an error. A "
       "name of a file that is no UTF-8 has U+FFFD for what is none.",
       "tsv: the same between tabs, without quotes; tab, line feed, carriage return and backslash in a text "
       "are \\t, \\n, \\r and \\\\. A text that is empty looks like a cell that was not set."},
      {}};
}

Section FileRules() {
  return {
      "Files",
      {"A file of --output is written beside its name and gets it at the end. An interrupt, a full disk or a "
       "missing place leave nothing behind. What cannot be shown is said, and the file holds the rest.",
       "--split-by: instrument and day are those of the innermost row that tells them, the instrument in a "
       "column Obj, the day in the first column that is known to hold times with a date. Rows without them "
       "go to (none) and undated. Directories are made. In names '/', '\\', '%', control characters and a "
       "point or '(' in front become %XX, long ones are cut and numbered. At most 100,000 files are made."},
      {}};
}

Section SecretRules() {
  return {
      "Secrets and terminals",
      {"--redact takes what is a token, a password or an account by the kind of its column (tesview columns: "
       "secret) or by its name, also of the columns of wire tables, out of every form: texts become ***, "
       "numbers 0. Texts that tell of a person or an account in other words stay.",
       "What a terminal gets is made visible in every form, in JSON and text form as escapes that say the "
       "same. Files and pipes get the text as it is."},
      {}};
}

Section ArrowRules() {
  return {
      "Arrow",
      {"--to arrow writes the stream format of Apache Arrow, for engines and data frames, to a file or a "
       "pipe. The rows are those of ndjson: _file where there are several, _reply where there are "
       "several files or replies, then the columns, those inside tables with the path before their name. "
       "With --nested a row is one of the outer table, and tables in it are lists of structs. Texts are "
       "UTF-8, ill-formed bytes U+FFFD; a cell that was not set is null. An unset table and one without "
       "rows look alike, unless they are lists. Times stay numbers. The metadata of a column have its "
       "heading, heading_zh, meaning, unit, kind and source; those of the whole have id, payload and type.",
       "A stream has the columns of one Id or layout: the first reply that has columns decides which. A "
       "reply of another Id, or of Id 3 with other columns, is an error, and so is one without a table "
       "or with too much in it. Where no reply tells columns nothing is written."},
      {}};
}

Section ExitCodes() {
  return {"Exit codes",
          {},
          {{"0", "Everything was shown, or the reader of the output closed it early."},
           {"1", "A reply is damaged or cannot be shown as asked, or a name is unknown; the rest was shown."},
           {"2", "The command line is wrong, or --output is there already; nothing was done."},
           {"3", "A file cannot be read, or the output cannot be written."}}};
}

Section Environment() {
  return {"Environment",
          {},
          {{"NO_COLOR", "If set and not empty, no colour unless --color always is given."},
           {"TERM", "If it is dumb, no colour."}}};
}

Section Memory() {
  return {
      "Memory",
      {"Streams and lines are read one reply at a time, with --to arrow about 1 MB of them; with --jobs at "
       "most about 64 MB are in "
       "memory. One reply and its output are always in memory as a "
       "whole."},
      {}};
}

// ---- from the definition of the command line ----

std::string Term(const CLI::Option& option) {
  std::string term;
  for (const std::string& name : option.get_snames())
    term += "-" + name + ", ";
  for (const std::string& name : option.get_lnames())
    term += "--" + name;
  if (option.get_lnames().empty()) return option.get_name(true);
  if (option.get_expected_max() > 0) term += " " + option.get_type_name();
  return term;
}

void AddOptions(const CLI::App& app, const std::string& group, std::vector<Entry>* entries) {
  for (const CLI::Option* option : app.get_options()) {
    const std::string& of = option->get_lnames().empty() ? std::string("Input") : option->get_group();
    if (option->get_group().empty() || (!group.empty() && of != group)) continue;
    entries->push_back({Term(*option), option->get_description()});
  }
}

std::string SynopsisOf(const CLI::App& command) {
  std::string line = "tesview " + command.get_name();
  std::string positional = command.get_footer().empty() ? "" : " " + command.get_footer();
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_name() == "--help") continue;
    if (option->get_lnames().empty()) {
      positional +=
          option->get_required() ? " " + option->get_name() + "..." : " [" + option->get_name() + "...]";
    } else {
      const std::string term = Term(*option);
      line += " [" + term.substr(term.find("--")) + "]";
    }
  }
  // One that has more than fit is told by what follows.
  if (line.size() + positional.size() > kHelpWidth - kSynopsisIndent)
    return "tesview " + command.get_name() + " [OPTION...]" + positional;
  return line + positional;
}

Page PageOf(const CLI::App& app) {
  Page page;
  page.purpose = app.get_description();
  page.synopsis.push_back("tesview [OPTION...] [FILE...]");
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* command : commands)
    page.synopsis.push_back(SynopsisOf(*command));
  page.sections = {Introduction(), Examples()};
  for (const char* group : {"Input", "Filter", "Output", "Choice", "Work", "Other"}) {
    Section section{group, {}, {}};
    AddOptions(app, group, &section.entries);
    page.sections.push_back(section);
  }
  Section all{"Commands", {}, {}};
  for (const CLI::App* command : commands) {
    all.entries.push_back({SynopsisOf(*command).substr(8), command->get_description()});
    std::vector<Entry> options;
    AddOptions(*command, "", &options);
    for (const Entry& option : options) {
      if (option.term != "-h, --help") all.entries.push_back({"  " + option.term, option.text});
    }
  }
  page.sections.push_back(all);
  for (const Section& section : {InputRules(), TableRules(), WhereRules(), LineRules(), FileRules(),
                                 SecretRules(), ArrowRules(), ExitCodes(), Environment(), Memory()})
    page.sections.push_back(section);
  return page;
}

// ---- as help ----

// UTF-8 with characters of one column each.
size_t Columns(const std::string& text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Wrapped(const std::string& text, size_t indent) {
  std::string out;
  std::string line(indent, ' ');
  bool empty = true;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(' ', begin), text.size());
    const std::string word = text.substr(begin, end - begin);
    begin = end + 1;
    if (!empty && Columns(line) + 1 + Columns(word) > kHelpWidth) {
      out += line + "\n";
      line = std::string(indent, ' ');
      empty = true;
    }
    line += (empty ? "" : " ") + word;
    empty = false;
  }
  return out + line + "\n";
}

std::string SectionText(const Section& section) {
  std::string text = "\n" + section.title + ":\n";
  bool first = true;
  for (const std::string& paragraph : section.paragraphs) {
    text += (first ? "" : "\n") + Wrapped(paragraph, 2);
    first = false;
  }
  for (const Entry& entry : section.entries)
    text += "  " + entry.term + "\n" + Wrapped(entry.text, entry.term[0] == ' ' ? 8 : 6);
  return text;
}

// ---- as a manual page ----

std::string Roff(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if (c == '\'' || (c == '.' && i == 0)) {
      out += c == '.' ? "\\&." : "\\(aq";
    } else if (text.compare(i, 2, "\xC3\x97") == 0) {
      out += "\\(mu";
      ++i;
    } else if (text.compare(i, 2, "\xC2\xB7") == 0) {
      out += "\\(pc";
      ++i;
    } else {
      out += c;
    }
  }
  return out;
}

std::string Upper(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

std::string HelpText(const CLI::App& app) {
  const Page page = PageOf(app);
  std::string text = "tesview " + page.purpose + "\n\n";
  for (const std::string& line : page.synopsis)
    text += (&line == &page.synopsis[0] ? "Usage: " : "       ") + line + "\n";
  for (const Section& section : page.sections) {
    if (section.title == "Description") {
      text += "\n" + Wrapped(section.paragraphs[0], 0);
    } else {
      text += SectionText(section);
    }
  }
  return text;
}

std::string CommandHelpText(const CLI::App& command) {
  std::string text = Wrapped(command.get_description(), 0) + "\nUsage: " + SynopsisOf(command) + "\n";
  Section options{"Options", {}, {}};
  AddOptions(command, "", &options.entries);
  return text + SectionText(options);
}

std::string ManualPage(const CLI::App& app) {
  const Page page = PageOf(app);
  std::string text = ".TH TESVIEW 1\n.SH NAME\ntesview \\- " + Roff(page.purpose) + "\n.SH SYNOPSIS\n.nf\n";
  for (const std::string& line : page.synopsis)
    text += Roff(line) + "\n";
  text += ".fi\n";
  for (const Section& section : page.sections) {
    text += ".SH " + Upper(section.title) + "\n";
    bool first = true;
    for (const std::string& paragraph : section.paragraphs) {
      text += (first ? "" : ".PP\n") + Roff(paragraph) + "\n";
      first = false;
    }
    for (const Entry& entry : section.entries) {
      const bool inner = entry.term[0] == ' ';
      text += inner ? ".RS\n" : "";
      text += ".TP\n.B " + Roff(entry.term.substr(inner ? 2 : 0)) + "\n" + Roff(entry.text) + "\n";
      text += inner ? ".RE\n" : "";
    }
  }
  return text;
}

}  // namespace tesview
