#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
"""Makes one site of the pages that QDoc has written and of the Markdown pages of the repository.

The folder PAGES, written by QDoc, gets the Markdown pages and the table of contents for Qt's help viewer. The folder
SITE gets all of these pages with navigation, contents, and a search index. The lists of docs/src/modules.qdoc are the
order of the navigation. Every broken link, page without a place in the navigation, and brief that is not a sentence
is an error, and so is a drawing without colors for the dark scheme.
"""

import argparse
import html
import json
import os
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from urllib.parse import unquote

PROJECT = 'PellixClient'
HEADING = re.compile(r'<h([23])\b([^>]*)>(.*?)</h\1>', re.DOTALL)
LINK = re.compile(r'<a\b[^>]*\shref="([^"]*)"[^>]*>(.*?)</a>', re.DOTALL)
problems = []


def problem(place, text):
    problems.append(f'{place}: {text}')


def plain(markup):
    """The text of some HTML."""
    return re.sub(r'\s+', ' ', html.unescape(re.sub(r'<[^>]*>', '', markup))).strip()


def attribute(tag, name):
    found = re.search(rf'\b{name}="([^"]*)"', tag)
    return found and found.group(1)


def slug(title):
    """The anchor that web hosts of repositories give to a heading of a Markdown page."""
    return re.sub(r'[^\w\- ]', '', title.lower()).replace(' ', '-')


def with_anchors(body):
    """Gives an anchor to each heading that has none."""
    taken = set(re.findall(r'\bid="([^"]*)"', body))

    def anchored(match):
        level, attributes, title = match.groups()
        if attribute(attributes, 'id'):
            return match.group()
        anchor = base = slug(plain(title))
        count = 0
        while anchor in taken:
            count += 1
            anchor = f'{base}-{count}'
        taken.add(anchor)
        return f'<h{level}{attributes} id="{anchor}">{title}</h{level}>'

    return HEADING.sub(anchored, body)


def with_labels(body):
    """Where a table of three columns or more does not fit, its cells are one below the other, with their headings."""
    def labelled(match):
        table = match.group()
        labels = [plain(cell) for cell in re.findall(r'<th\b[^>]*>(.*?)</th>', table, re.DOTALL)]
        if len(labels) < 3 and any(labels):
            return table
        rows = []
        for row in re.split(r'(?=<tr\b)', table):
            cells = iter(labels)
            rows.append(re.sub(r'<td\b', lambda _: f'<td data-label="{html.escape(next(cells, ""))}"', row))
        table = re.sub(r'^<table(?: class="generic")?', '<table class="generic stack"', ''.join(rows))
        return table

    return re.sub(r'<table(?: class="generic")?>.*?</table>', labelled, body, flags=re.DOTALL)


class Markdown:
    """The Markdown pages of the repository, by the page that each becomes."""

    def __init__(self, source, cmark):
        self.source = source
        self.cmark = cmark
        files = [*source.glob('*.md'), *source.glob('docs/*.md'), *source.glob('*/README.md')]
        self.pages = {self.name(file): file for file in files}
        self.images = set()
        self.links = []    # to pages: the file, the link, the page and the anchor
        self.anchors = {}  # of each page

    def name(self, file):
        """README.md is the start page, and that of a folder has the name of the folder."""
        stem = file.parent.name if file.stem == 'README' else file.stem
        return 'index.html' if file == self.source / 'README.md' else stem.lower() + '.html'

    def target(self, file, link):
        """What a link of a page is in the site: nothing if it names a file that is not a page."""
        path, _, anchor = unquote(link).partition('#')
        if not path:
            self.links.append((file, link, self.name(file), anchor))
            return link
        linked = Path(os.path.normpath(file.parent / path))
        if not linked.exists():
            problem(file.relative_to(self.source), f'links to {link}, which does not exist')
        if linked.suffix in ('.png', '.svg'):
            if linked.exists():
                self.images.add(linked)
            return 'images/' + linked.name
        if linked.suffix == '.qdoc':
            page = linked.stem + '.html'
        elif linked in self.pages.values():
            page = self.name(linked)
            self.links.append((file, link, page, anchor))
        else:
            return None
        return page + ('#' + anchor if anchor else '')

    def body(self, file):
        """The title of a page, and the rest of it as HTML."""
        command = [self.cmark, '--extension', 'table', '--extension', 'autolink', str(file)]
        text = subprocess.run(command, check=True, capture_output=True, encoding='utf-8').stdout
        text = text.replace('<!-- raw HTML omitted -->\n', '')

        def linked(match):
            tag, name, link = match.groups()
            if re.match(r'[a-z]+:', link):
                return match.group()
            target = self.target(file, html.unescape(link))
            return f'<{tag} {name}="{html.escape(target)}"' if target else f'<{tag}'

        text = re.sub(r'<(a|img) (href|src)="([^"]*)"', linked, text)
        text = re.sub(r'<table>.*?</table>', r'<div class="table">\g<0></div>', text, flags=re.DOTALL)
        parts = re.split(r'(<pre\b.*?</pre>)', text, flags=re.DOTALL)
        text = ''.join(part if part.startswith('<pre') else re.sub(r'(?<=\d) (?=\d{3}\b)', '&nbsp;', part) for part in parts)
        title = re.match(r'<h1>(.*?)</h1>\s*', text, re.DOTALL)
        if not title:
            problem(file.relative_to(self.source), 'does not begin with a title')
            return file.stem, text
        text = with_anchors(text[title.end():])
        self.anchors[self.name(file)] = set(re.findall(r'\bid="([^"]*)"', text))
        return plain(title.group(1)), text

    def check_anchors(self):
        """Those of the web host, also on pages that the site shows in part."""
        for file, link, page, anchor in self.links:
            if anchor and anchor not in self.anchors.get(page, ()):
                problem(file.relative_to(self.source), f'links to {link}, and there is no such heading')


class Pages:
    """The folder that QDoc has written, and what its index says of it."""

    def __init__(self, folder, version):
        self.folder = folder
        self.version = version
        self.index = ElementTree.parse(folder / 'pellixclient.index').getroot()
        # A signal that several properties share has no text of its own, but QDoc links to it.
        self.notifiers = {item.get('href').partition('#')[0] + '#' + signal.get('name'): item.get('href')
                          for item in self.index.iter('property') for signal in item.iter('notifier')}
        # The pages below a page of the navigation: the types of a module, and what has no module.
        self.parents = {item.get('href'): 'classes.html' for tag in ('namespace', 'header', 'proxy')
                        for item in self.index.iter(tag) if item.get('href')}
        # What the navigation and the search call a page, where that is shorter than its title.
        self.names = {}
        for item in self.index.iter():
            name = item.get('fullname') or item.get('name')
            if item.tag in ('class', 'struct'):
                name = re.sub(r'^pellix::\w+::', '', name)
            elif item.tag == 'proxy':
                name += ' functions'
            elif item.tag not in ('qmlclass', 'namespace', 'header'):
                continue
            self.names[item.get('href')] = item.get('name') if item.tag == 'qmlclass' else name
        for module in self.index.iter():
            if module.tag not in ('module', 'qmlmodule'):
                continue
            for tag, key in ('class', 'module'), ('struct', 'module'), ('qmlclass', 'qml-module-name'):
                for item in self.index.iter(tag):
                    if item.get(key) == module.get('name') and item.get('href', '').endswith('.html'):
                        self.parents[item.get('href')] = module.get('href')

    def add(self, name, title, body):
        """Writes a page in the form of QDoc's."""
        (self.folder / name).write_text(
            f'<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">\n'
            f'<title>{html.escape(title)} | {PROJECT} {self.version}</title>\n'
            f'<link rel="stylesheet" type="text/css" href="style/pellixclient.css" />\n</head>\n<body>\n'
            f'<h1 class="title">{html.escape(title)}</h1>\n{body}</body>\n</html>\n', encoding='utf-8')

    def put_introduction(self, body):
        """The start page begins with the README, up to its own list of pages."""
        file = self.folder / 'index.html'
        text = file.read_text(encoding='utf-8')
        body = re.sub(r'<h2 id="documentation">.*', '', body, flags=re.DOTALL)
        file.write_text(re.sub(r'(?=<h2\b)', lambda _: body, text, count=1), encoding='utf-8')

    def put_help_contents(self, groups, added):
        """The help viewer shows the same pages in the same order."""
        file = self.folder / 'pellixclient.qhp'
        text = file.read_text(encoding='utf-8')
        sections = ''.join(
            f'<section ref="{entries[0][0]}" title="{html.escape(group)}">'
            + ''.join(f'<section ref="{page}" title="{html.escape(title)}"/>' for page, title in entries)
            + '</section>\n' for group, entries in groups)
        text = re.sub(r'<toc>.*</toc>', lambda _: f'<toc><section ref="index.html" title="{PROJECT}">\n'
                      f'{sections}</section></toc>', text, flags=re.DOTALL)
        files = ''.join(f'<file>{name}</file>\n' for name in added if f'<file>{name}</file>' not in text)
        file.write_text(text.replace('</files>', files + '</files>'), encoding='utf-8')


def navigation(start):
    """The groups of pages on the start page: the title of each, and its pages with their titles."""
    groups = []
    for part in re.split(r'(?=<h2\b)', start)[1:]:
        heading = HEADING.match(part)
        entries = [(link, plain(title)) for item in re.findall(r'<li>(.*?)</li>', part, re.DOTALL)
                   for link, title in LINK.findall(item)]
        if entries:
            groups.append((plain(heading.group(3)), entries))
    return groups


def brief_of(page):
    """The brief that QDoc prints at the top of the page of a type, whole; in its index, words are missing."""
    found = re.search(r'-brief -->\s*<p>(.*?)(<a href="#details">|</p>)', page.read_text(encoding='utf-8'), re.DOTALL)
    return plain(found.group(1)) if found else ''


def check_pictures(folder):
    """A drawing follows the color scheme of the page that shows it."""
    for picture in sorted(folder.glob('*.svg')):
        if '(prefers-color-scheme: dark)' not in picture.read_text(encoding='utf-8'):
            problem(picture.name, 'has no colors for the dark scheme')


def check_briefs(pages):
    """A brief is a sentence that begins with a verb, or with "The Name class", which QDoc adds to some."""
    for item in pages.index.iter():
        page = item.get('href', '')
        if item.tag not in ('class', 'struct', 'qmlclass', 'page', 'namespace', 'header') or item.get('brief') is None:
            continue
        brief = item.get('brief')
        if item.tag in ('class', 'struct'):
            brief = brief_of(pages.folder / page)
            good = re.match(r'The [\w:]+ (class|struct) [a-z]+s\b', brief)
        else:
            good = re.match(r'[A-Z][a-z]+s (?!(for|of|that)\b)', brief)
        if not good:
            problem(item.get('location', page), f'the brief is not a sentence: {brief}')


class Site:
    def __init__(self, pages, groups, folder):
        self.pages = pages
        self.groups = groups
        self.folder = folder
        self.order = [entry for _, entries in groups for entry in entries]
        self.sections = []

    def place(self, name):
        """The page of the navigation that a page belongs to."""
        name = name.replace('-members.html', '.html')
        while name in self.pages.parents and name not in dict(self.order):
            name = self.pages.parents[name]
        return name

    def navigation(self, name):
        place = self.place(name)
        lines = []
        for group, entries in self.groups:
            lines.append(f'<h2>{html.escape(group)}</h2>\n<ul>')
            for page, title in entries:
                current = ' aria-current="page"' if page == name else ' class="here"' if page == place else ''
                lines.append(f'<li><a href="{page}"{current}>{html.escape(title)}</a>')
                if page == place:
                    lines += self.members(page, name)
                lines.append('</li>')
            lines.append('</ul>')
        return '\n'.join(lines)

    def members(self, module, name):
        """The types of a module, below its own line."""
        name = name.replace('-members.html', '.html')
        types = sorted((self.titles[page], page) for page, parent in self.pages.parents.items() if parent == module)
        if not types:
            return []
        lines = [f'<li><a href="{page}"' + (' aria-current="page"' if page == name else '')
                 + f'>{self.with_breaks(title)}</a></li>' for title, page in types]
        return ['<ul>', *lines, '</ul>']

    @staticmethod
    def with_breaks(name):
        """A long name may be broken between its words."""
        return re.sub(r'(?<=[a-z])(?=[A-Z])', '<wbr>', html.escape(name))

    def neighbors(self, name):
        names = [page for page, _ in self.order]
        if name not in names:
            return ''
        at = names.index(name)
        parts = []
        for kind, label, index in ('prev', 'Previous', at - 1), ('next', 'Next', at + 1):
            if 0 <= index < len(names):
                page, title = self.order[index]
                parts.append(f'<a rel="{kind}" href="{page}"><span>{label}</span>{html.escape(title)}</a>')
        return f'<p class="neighbors">{"".join(parts)}</p>\n'

    @staticmethod
    def contents(body):
        """The list of a page's headings; those of members are in its summary."""
        lines = []
        for level, attributes, title in HEADING.findall(body):
            if not re.search(r'class="(fn|qmlname|flags)', attributes):
                lines.append(f'<li class="level{level}"><a href="#{attribute(attributes, "id")}">'
                             f'{html.escape(plain(title))}</a></li>')
        if len(lines) < 3:
            return ''
        return '<details class="contents" open><summary>On this page</summary>\n<ul>\n' + '\n'.join(lines) + '\n</ul></details>\n'

    @staticmethod
    def mark_read_only(body):
        """The summary marks the properties that the details mark."""
        items = re.findall(r'id="([^"]+-prop)"(?:(?!id=").)*?\[read-only\]', body, re.DOTALL)
        for anchor in items:
            line = re.compile(r'(<li class="fn"[^>]*>(?:(?!</li>).)*#' + re.escape(anchor) + r'"[^>]*>(?:(?!</li>).)*)</li>', re.DOTALL)
            body = line.sub(lambda match: match.group(1).replace(' : const ', ' : ')
                            + ' <span class="mark">read-only</span></li>', body)
        body = re.sub(r'<(code|span)[^>]*>\[read-only\] ?</\1>(.*?)(</h3>|</p>)',
                      r'\2 <span class="mark">read-only</span>\3', body, flags=re.DOTALL)
        return re.sub(r'(</span> : )const (<span class="type">[^\n]*<span class="mark">)', r'\1\2', body)

    def whole_briefs(self, body):
        """The lists of types have the sentences of their pages, which QDoc shortens to fragments."""
        def whole(match):
            brief = re.sub(r'^The [\w:]+ (class|struct) ', '', brief_of(self.pages.folder / match.group(2)))
            return match.group(1) + html.escape(brief[:1].upper() + brief[1:]) + '</p>' if brief else match.group()

        return re.sub(r'(<td class="tblName"><p><a href="([^"#]*)"[^>]*>[^<]*</a></p></td><td class="tblDescr"><p>).*?</p>',
                      whole, body, flags=re.DOTALL)

    def read(self, name):
        """The title of a page of QDoc's, and what is in it without QDoc's own navigation."""
        text = (self.pages.folder / name).read_text(encoding='utf-8')
        found = re.search(r'<h1\b[^>]*>(.*?)</h1>(.*)</body>', text, re.DOTALL)
        if not found:
            sys.exit(f'{name} has no title: QDoc has changed its form')
        body = re.sub(r'<p class="naviNextPrevious[^>]*>.*?</p>', '', found.group(2), flags=re.DOTALL)
        body = re.sub(r'<br\s*/>\s*(?=<!-- \$\$\$|<h2)', '', body)
        body = re.sub(r'(</a>) and\s*(?=</td>)', r'\1', body)  # a base class without documentation
        body = re.sub(r'<p>(<b>Note: </b>)', r'<p class="note">\1', body)
        return plain(found.group(1)), self.mark_read_only(self.whole_briefs(with_labels(with_anchors(body))))

    def write(self):
        names = sorted(file.name for file in self.pages.folder.glob('*.html'))
        read = {name: self.read(name) for name in names}
        self.lead_to_properties(read)
        self.titles = {name: self.pages.names.get(name, title) for name, (title, _) in read.items()}
        for name, (title, body) in read.items():
            self.put(name, title, body)
        self.check_places(names)
        index = json.dumps(self.sections, ensure_ascii=False, separators=(',', ':'))
        (self.folder / 'style/search-index.js').write_text(f'pellixSearch.fill({index});\n', encoding='utf-8')

    def lead_to_properties(self, read):
        anchors = {f'{name}#{anchor}' for name, (_, body) in read.items() for anchor in re.findall(r'\bid="([^"]*)"', body)}
        notifiers = {link: target for link, target in self.pages.notifiers.items() if link not in anchors}
        for name, (title, body) in read.items():
            read[name] = title, re.sub(r'(?<=href=")[^"]*#[^"]*(?=")',
                                       lambda match: notifiers.get(match.group(), match.group()), body)

    def put(self, name, title, body):
        module = self.place(name)
        trail = f'<a href="{module}">{html.escape(dict(self.order)[module])}</a>' if module != name and module in dict(self.order) else ''
        head = title if name == 'index.html' else f'{title} | {PROJECT}'
        contents = self.contents(body)
        (self.folder / name).write_text(f'''<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{html.escape(head)}</title>
<link rel="stylesheet" href="style/pellixclient.css">
<script src="style/site.js"></script>
</head>
<body class="site{' with-contents' if contents else ''}">
<a class="skip" href="#content">Skip to the page</a>
<header class="bar">
<button class="menu" aria-controls="navigation" aria-expanded="false" aria-label="Navigation">☰</button>
<a class="home" href="index.html">{PROJECT}</a> <span class="version">{self.pages.version}</span>
<div class="search" role="search">
<input type="search" placeholder="Search" aria-label="Search the documentation" autocomplete="off">
<ol class="results" hidden></ol>
</div>
<button class="theme" aria-label="Dark or light colors">◐</button>
</header>
<nav id="navigation" aria-label="All pages">
{self.navigation(name)}
</nav>
<main id="content">
<div class="heading">{f'<p class="trail">{trail}</p>' if trail else ''}
<h1 class="title">{html.escape(title)}</h1></div>
{contents}<article>
{body}
</article>
{self.neighbors(name)}</main>
</body>
</html>
''', encoding='utf-8')
        if not name.endswith('-members.html'):
            self.add_to_index(name, title, body)

    @staticmethod
    def heading(markup):
        """Of a member, its name without types and parameters."""
        name = re.search(r'<span class="name">(.*?)</span>(.?)', markup, re.DOTALL)
        return plain(name.group(1)) + ('()' if name.group(2) == '(' else '') if name else plain(markup)

    def add_to_index(self, name, title, body):
        """A section for each heading: the page, its title, the heading, and the text."""
        parts = re.split(r'(?=<h[23]\b|<tr\b[^>]*\bid=")', body)
        anchor = heading = ''
        for part in parts:
            found = re.match(r'<(h[23]|tr)\b([^>]*)>(.*?)</\1>', part, re.DOTALL)
            if found:
                anchor = '#' + attribute(found.group(2), 'id')
                heading = self.heading(found.group(3))
                part = part[found.end():]
            text = plain(re.sub(r'(</(td|p|li|pre|h\d)>)', r'\1 ', part))
            if text or heading:
                self.sections.append([name + anchor, title, heading, text])

    def check_places(self, names):
        placed = [page for page, _ in self.order]
        for page in sorted(set(placed)):
            if placed.count(page) > 1:
                problem('docs/src/modules.qdoc', f'lists {page} {placed.count(page)} times')
        for name in names:
            if name != 'index.html' and self.place(name) not in placed:
                problem('docs/src/modules.qdoc', f'does not list {name}')

    def check_links(self):
        """Each link within the site leads to a file and, if it names one, to an anchor in it."""
        texts = {file.name: file.read_text(encoding='utf-8') for file in self.folder.glob('*.html')}
        anchors = {name: set(map(html.unescape, re.findall(r'\b(?:id|name)="([^"]*)"', text)))
                   for name, text in texts.items()}
        count = 0
        for name, text in texts.items():
            for link in set(re.findall(r'\b(?:href|src)="([^"]*)"', text)):
                link = html.unescape(link)
                if re.match(r'[a-z]+:', link):
                    continue
                count += 1
                path, _, anchor = link.partition('#')
                path = unquote(path) or name
                if not (self.folder / path).is_file():
                    problem(name, f'links to {link}, which does not exist')
                elif anchor and unquote(anchor) not in anchors.get(path, ()):
                    problem(name, f'links to {link}, and there is no such anchor')
        return count


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition('\n')[0])
    parser.add_argument('--cmark', default='cmark-gfm', help='the program cmark-gfm')
    parser.add_argument('--version', required=True, help='the version of the library')
    parser.add_argument('source', type=Path, metavar='SOURCE', help='the folder of the repository')
    parser.add_argument('pages', type=Path, metavar='PAGES', help='the folder that QDoc has written')
    parser.add_argument('site', type=Path, metavar='SITE', help='the folder to write')
    arguments = parser.parse_args()

    source = arguments.source.resolve()
    pages = Pages(arguments.pages, arguments.version)
    markdown = Markdown(source, arguments.cmark)
    groups = navigation((arguments.pages / 'index.html').read_text(encoding='utf-8'))

    for name, file in markdown.pages.items():
        title, body = markdown.body(file)
        if name == 'index.html':
            pages.put_introduction(body)
        elif (arguments.pages / name).exists():
            problem(file.relative_to(source), f'there is a page {name} of QDoc already')
        else:
            pages.add(name, title, body)
    markdown.check_anchors()
    (arguments.pages / 'images').mkdir(exist_ok=True)
    for image in markdown.images:
        shutil.copy(image, arguments.pages / 'images')
    pages.put_help_contents(groups, [*markdown.pages, *(f'images/{image.name}' for image in markdown.images)])

    shutil.rmtree(arguments.site, ignore_errors=True)
    arguments.site.mkdir(parents=True)
    shutil.copytree(arguments.pages / 'images', arguments.site / 'images')
    shutil.copytree(source / 'docs/style', arguments.site / 'style')
    site = Site(pages, groups, arguments.site)
    site.write()
    links = site.check_links()
    check_briefs(pages)
    check_pictures(arguments.site / 'images')
    if problems:
        sys.exit('\n'.join(sorted(problems)))
    print(f'{len(site.titles)} pages, {len(site.sections)} sections, {links} links')


if __name__ == '__main__':
    main()
