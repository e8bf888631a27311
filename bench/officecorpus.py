"""Office documents in fourteen languages, for scripts/recall: pages, sheets and slides written here
(words with formatting within them, tables, lists, notes), converted into each format by soffice."""
import base64
import html
import os
import sys

import readers

TEXTS = {
 "en": ("The harbour at dawn", ["The fishing boats returned before sunrise, their decks heavy with mackerel and herring.", "Nobody on the quay remembered a colder February, yet the market opened at six o'clock as always.", "Prices: 12.50 for a crate, 3,75 for a dozen."]),
 "de": ("Über die Brücke", ["Der Straßenbahnfahrer grüßte jeden Morgen dieselben Fahrgäste am Nürnberger Plärrer.", "Größere Überraschungen gab es selten, außer wenn Schnee die Weichen blockierte.", "Donaudampfschifffahrtsgesellschaft ist ein beliebtes Beispielwort."]),
 "fr": ("L'été à la campagne", ["Les élèves dégustaient des crêpes bretonnes près de l'église Saint-Étienne.", "Où êtes-vous allés après le dîner ? Cœur, œuvre, naïveté, garçon.", "« Ça dépend », répondit-elle à mi-voix."]),
 "pl": ("Zażółć gęślą jaźń", ["Pchnąć w tę łódź jeża lub ośm skrzyń fig.", "W Szczebrzeszynie chrząszcz brzmi w trzcinie i Szczebrzeszyn z tego słynie.", "Źdźbło trawy, żółw, ćma, Łódź, Kraków."]),
 "ru": ("Съешь ещё этих булок", ["Широкая электрификация южных губерний даст мощный толчок подъёму сельского хозяйства.", "Москва, Санкт-Петербург и Нижний Новгород находятся далеко друг от друга.", "Объявление: съёмка фильма начнётся в понедельник."]),
 "el": ("Η θάλασσα το πρωί", ["Ξεσκεπάζω την ψυχοφθόρα βδελυγμία με θάρρος και αγάπη.", "Οι ψαράδες γύρισαν πριν από την ανατολή του ήλιου στη Θεσσαλονίκη.", "Τιμές, δρομολόγια και ώρες λειτουργίας."]),
 "ar": ("البحر في الصباح", ["عاد الصيادون قبل شروق الشمس إلى الميناء القديم.", "نص حكيم له سر قاطع وذو شأن عظيم مكتوب على ثوب أخضر.", "القاهرة وبيروت ودمشق مدن قديمة."]),
 "he": ("הים בבוקר", ["דג סקרן שט בים מאוכזב ולפתע מצא חברה.", "ירושלים ותל אביב הן ערים גדולות בישראל.", "השוק נפתח בשעה שש כתמיד."]),
 "ja": ("朝の港", ["いろはにほへと散りぬるを、漁船は日の出前に港へ戻ってきた。", "東京都と大阪府の間には新幹線が走っています。", "カタカナの言葉:コンピューター、インターネット。"]),
 "zh": ("清晨的港口", ["渔船在日出之前回到了码头,甲板上堆满了鱼。", "北京、上海和广州是中国的大城市。", "市场照常在六点钟开门。"]),
 "ko": ("새벽의 항구", ["어선들은 해가 뜨기 전에 부두로 돌아왔다.", "서울특별시와 부산광역시는 대한민국의 큰 도시이다.", "시장은 언제나처럼 여섯 시에 문을 열었다."]),
 "hi": ("सुबह का बंदरगाह", ["मछुआरे सूर्योदय से पहले अपनी नावें लेकर लौट आए।", "दिल्ली और मुंबई भारत के बड़े शहर हैं।", "बाज़ार हमेशा की तरह छह बजे खुला।"]),
 "th": ("ท่าเรือยามเช้า", ["เรือประมงกลับมาก่อนพระอาทิตย์ขึ้น", "กรุงเทพมหานครเป็นเมืองหลวงของประเทศไทย", "ตลาดเปิดเวลาหกโมงเช้าเหมือนเดิม"]),
 "tr": ("Sabah limanı", ["Pijamalı hasta yağız şoföre çabucak güvendi.", "İstanbul, İzmir ve Diyarbakır büyük şehirlerdir; ılık bir gündü.", "Çarşı her zamanki gibi saat altıda açıldı."]),
}

FB2_CHARSETS = {"ru": "windows-1251", "pl": "windows-1250", "el": "windows-1253"}


def marked(line):
    """Formatting within words: what splits them if read carelessly."""
    words = line.split(" ")
    for i, word in enumerate(words):
        words[i] = html.escape(word)
        if i % 4 == 1 and len(word) > 3:
            words[i] = f"{html.escape(word[:2])}<b>{html.escape(word[2:-1])}</b>{html.escape(word[-1])}"
    return " ".join(words)


def page(lang, title, lines):
    body = "".join(f"<p>{marked(line)}</p>\n" for line in lines)
    items = "".join(f"<li>{marked(line)}</li>\n" for line in lines)
    rows = ((line.split(" ") + ["-", "-", "-"])[:3] for line in lines)
    cells = "".join("<tr>" + "".join(f"<td>{html.escape(w)}</td>" for w in row) + "</tr>\n"
                    for row in rows)
    title = html.escape(title)
    return (f'<!DOCTYPE html><html lang="{lang}"><head><meta charset="utf-8"><title>{title}</title>'
            f'<meta name="keywords" content="keyword{lang}"><meta name="author" content="Author {lang}">'
            f'</head><body><h1>{title}</h1>\n{body}<ul>\n{items}</ul><table border="1">{cells}</table>'
            f'<p>x<sup>2</sup> and <a href="https://example.org/{lang}">link {lang}</a><br>after break'
            '</p></body></html>')


def sheet(lang, title, lines):
    rows = [[title] + line.split(" ") for line in lines] + [["12.5", "0.1", "2021", lang]]
    return "".join(",".join('"' + cell.replace('"', '""') + '"' for cell in row) + "\n" for row in rows)


FRAME = ('<draw:frame svg:width="20cm" svg:height="{height}cm" svg:x="2cm" svg:y="{top}cm"{more}>'
         "<draw:text-box><text:p>{text}</text:p></draw:text-box></draw:frame>")
NAMESPACES = " ".join(
    f'xmlns:{short}="urn:oasis:names:tc:opendocument:xmlns:{name}:1.0"' for short, name in (
        ("office", "office"), ("draw", "drawing"), ("text", "text"), ("presentation", "presentation"),
        ("svg", "svg-compatible"), ("style", "style"), ("fo", "xsl-fo-compatible")))


def deck(lang, title, lines):
    slides = ""
    for i, line in enumerate(lines):
        middle = max(1, len(line) // 2)
        text = f"{html.escape(line[:middle])}<text:span>{html.escape(line[middle:])}</text:span>"
        note = FRAME.format(height=5, top=12, more=' presentation:class="notes"',
                            text=f"note {i} {html.escape(line)}")
        slides += (f'<draw:page draw:name="page{i + 1}" draw:master-page-name="Default">'
                   + FRAME.format(height=3, top=1, more="", text=f"{html.escape(title)} {i + 1}")
                   + FRAME.format(height=9, top=5, more="", text=text)
                   + f"<presentation:notes>{note}</presentation:notes></draw:page>")
    return (f'<?xml version="1.0" encoding="UTF-8"?><office:document {NAMESPACES} office:version="1.2"'
            ' office:mimetype="application/vnd.oasis.opendocument.presentation">'
            '<office:automatic-styles><style:page-layout style:name="PM0"><style:page-layout-properties'
            ' fo:page-width="28cm" fo:page-height="21cm"/></style:page-layout></office:automatic-styles>'
            '<office:master-styles><style:master-page style:name="Default"'
            ' style:page-layout-name="PM0"/></office:master-styles>'
            f'<office:body><office:presentation>{slides}</office:presentation></office:body>'
            '</office:document>')


def fiction_book(lang, title, lines):
    body = "".join(f"<p>{html.escape(line[:5])}<emphasis>{html.escape(line[5:])}</emphasis></p>"
                   for line in lines)
    picture = base64.b64encode(bytes(range(256)) * 8).decode()
    return (f'<?xml version="1.0" encoding="{FB2_CHARSETS.get(lang, "utf-8")}"?>\n'
            '<FictionBook xmlns="http://www.gribuser.ru/xml/fictionbook/2.0"><description><title-info>'
            f'<genre>sf</genre><author><first-name>Author</first-name><last-name>{lang}</last-name>'
            f'</author><book-title>{html.escape(title)}</book-title></title-info><document-info>'
            f'<id>deadbeef</id></document-info></description><body><title><p>{html.escape(title)}</p>'
            f'</title><section>{body}</section></body>'
            f'<binary id="c" content-type="image/png">{picture}</binary></FictionBook>')


def write(folder, kind, make):
    os.makedirs(folder, exist_ok=True)
    names = []
    for lang, (title, lines) in TEXTS.items():
        charset = FB2_CHARSETS.get(lang, "utf-8") if kind == "fb2" else "utf-8"
        names.append(f"{folder}/{lang}.{kind}")
        with open(names[-1], "w", encoding=charset, errors="xmlcharrefreplace") as file:
            file.write(make(lang, title, lines))
    return names


def made(folder, kind):
    return sorted(f"{folder}/{kind}/{name}" for name in os.listdir(f"{folder}/{kind}"))


def make(folder, profile):
    """Writes the documents into folder/KIND; what they are made of into profile-sources."""
    sources = f"{profile}-sources"
    write(f"{folder}/fb2", "fb2", fiction_book)

    def convert(target, kind, files, reader=None):
        readers.soffice(profile, target, f"{folder}/{kind}", files, reader)

    convert("odt:writer8", "odt", write(sources, "html", page), "HTML (StarWriter)")
    for target in ("docx:MS Word 2007 XML", "rtf:Rich Text Format", "epub", "pdf", "docm:MS Word 2007 XML VBA",
                   "fodt:OpenDocument Text Flat XML"):
        convert(target, target.split(":")[0], made(folder, "odt"))
    convert("ods:calc8", "ods", write(sources, "csv", sheet), "CSV:44,34,76,1")
    convert("xlsx:Calc MS Excel 2007 XML", "xlsx", made(folder, "ods"))
    convert("odp:impress8", "odp", write(sources, "fodp", deck))
    convert("pptx:Impress MS PowerPoint 2007 XML", "pptx", made(folder, "odp"))


if __name__ == "__main__":
    make(sys.argv[1], sys.argv[1] + "/profile")
