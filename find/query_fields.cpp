#include "find/query_fields.h"

namespace keldane {

const std::vector<QueryField>& queryFields() {
  static const std::vector<QueryField> fields = {
      {"from", FieldValue::words, {Field::from}, "Names and addresses of who sent it"},
      {"to",
       FieldValue::words,
       {Field::to},
       "Names and addresses of all who got it, copies as well"},
      {"subject", FieldValue::words, {Field::subject}, "The subject"},
      {"body", FieldValue::words, {Field::body}, "The text of the message, of all its versions"},
      {"attachment",
       FieldValue::words,
       {Field::attachment},
       "The text of attachments: PDF, office files, RTF, plain text, messages within the message"},
      {"file", FieldValue::words, {Field::file}, "Names of attachments"},
      {"type",
       FieldValue::words,
       {Field::type},
       "Types and name endings of attachments, such as `type:pdf`"},
      {"tag", FieldValue::words, {Field::tag}, "Category, keywords, notes and the priority's name"},
      {"mailbox", FieldValue::words, {Field::mailbox}, "The mailbox in which it was seen last"},
      {"date",
       FieldValue::date,
       {},
       "A day, month or year (2003-05-17, 2003-05, 2003), today, yesterday, this-week, last-week "
       "(a week begins on Monday), the same of month and year, last-30-days, or two of them around "
       "two dots, of which one may be missing: `date:2003..2005-06`"},
      {"size",
       FieldValue::size,
       {},
       "Bytes of the whole message, with K, M or G in steps of 1024: `size:>1M`, `size:<20K`, "
       "`size:10K..20K`; a size alone is the least"},
      {"id", FieldValue::id, {}, "The number that lists show: `id:12`, `id:10..20`, `id:>400`"},
      {"has", FieldValue::has, {}, "`has:attachment`: with an attachment"}};
  return fields;
}

const std::vector<QueryForm>& queryForms() {
  static const std::vector<QueryForm> forms = {
      {"word other", "Both must be there, anywhere in the message"},
      {"\"word other\"", "They must follow each other in one text"},
      {"word OR other", "At least one of them; OR binds looser than what stands side by side"},
      {"NOT word, -word", "It must not be there. A - within a word parts it, as a blank does"},
      {"( )", "Brackets hold together what they enclose"},
      {"wor*", "Any word that begins so, with two letters or digits at least"},
      {"field:word", "Only in this field. Behind the colon a word, quotes or brackets may stand"}};
  return forms;
}

}  // namespace keldane
