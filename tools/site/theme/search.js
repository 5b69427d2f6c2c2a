// Finds the words that the address names, in the index that lies beside the pages.
"use strict";

const words = new URLSearchParams(location.search).get("q") || "";
const places = new Map(searchIndex.docs.map((each) => [each.location, each]));

const index = lunr(function () {
  this.ref("location");
  this.field("title", { boost: 10 });
  this.field("text");
  this.tokenizer.separator = /[\s\-.,;:()[\]{}"'`=+*/\\<>]+/;
  for (const each of searchIndex.docs) this.add(each);
});

// All of the words, each also as the beginning of one.
function find() {
  const parts = words.toLowerCase().split(lunr.tokenizer.separator).filter(Boolean);
  if (parts.length === 0) return [];
  return index.query((query) => {
    for (const part of parts) {
      query.term(lunr.stemmer(new lunr.Token(part)).toString(), { presence: lunr.Query.presence.OPTIONAL, boost: 5 });
      query.term(part, { wildcard: lunr.Query.wildcard.TRAILING, presence: lunr.Query.presence.OPTIONAL });
    }
  }).filter((result) => parts.every((part) => {
    const place = places.get(result.ref);
    return (place.title + " " + place.text).toLowerCase().includes(part);
  }));
}

function excerpt(text) {
  const at = text.toLowerCase().indexOf(words.toLowerCase().split(/\s+/)[0]);
  const from = at < 60 ? 0 : text.indexOf(" ", at - 60) + 1;
  return (from > 0 ? "… " : "") + text.slice(from, from + 200) + " …";
}

document.querySelector("input[name=q]").value = words;
const results = find();
document.getElementById("count").textContent =
  words ? `${results.length} ${results.length === 1 ? "place" : "places"} with “${words}”` : "";
for (const result of results.slice(0, 50)) {
  const place = places.get(result.ref);
  const page = places.get(result.ref.split("#")[0]);
  const link = document.createElement("a");
  link.href = result.ref;
  link.textContent = page && page !== place ? `${page.title}: ${place.title}` : place.title;
  const text = document.createElement("p");
  text.textContent = excerpt(place.text);
  const item = document.createElement("li");
  item.append(link, text);
  document.getElementById("found").append(item);
}
