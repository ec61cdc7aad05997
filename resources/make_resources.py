#!/usr/bin/env python3
"""Makes the files that the password generators read, and the licence of the word list behind them.

    RandomWordsDictionaryShort.txt   common words of 4 to 6 letters
    RandomWordsDictionary.txt        words of 4 to 10 letters
    Phonemes.txt                     which pair of letters may follow which
    LICENSE.words                    where the words come from, and on what terms

The words are those of SCOWL (Debian package `scowl`), size classes 10 to 40, general and American spelling. The results
are kept beside this script, so that only those who change the choice of words need the package. The same lists give the
same bytes on every machine: nothing is drawn, and what is shuffled is sorted by a hash.

check_resources.py proves the results and computes what they are worth.
"""

import argparse
import collections
import gzip
import hashlib
import itertools
import math
import pathlib
import re
import sys

WORD_LISTS = pathlib.Path("/usr/share/dict/scowl")
NOTICE = pathlib.Path("/usr/share/doc/scowl/README.gz")

# 10 and 20 are the commonest words, 35 those of nearly every dictionary, 40 a few more. From 50 on come words that most
# people would have to look up, and so would not remember.
SHORT_SIZES, SHORT_LENGTHS = (10, 20, 35), range(4, 7)
LONG_SIZES, LONG_LENGTHS = (10, 20, 35, 40), range(4, 11)

# --- Words left out ---------------------------------------------------------------------------------------------------
#
# Sex, excretion, violence against people, drugs, slurs, insults to people and to beliefs; when in doubt a word goes,
# for there are enough. There are three lists, because not every stem is as safe to look for as "murder": some end
# ordinary words ("rapist", "therapist"), some begin them ("tit", "title").

REJECTED_ANYWHERE = """
    alcoholi asshole bastard bitch blasphem boob breast brothel buttock cannibal castrat circumcis clitor copulat crucif
    cunt damn diarrh dildo ejacul faggot fecal feces fetish floozy fornicat fuck genocid gonorr holocaust homicid
    homosex imbecil incest intercourse jackass lesbian libid lynch masochi massacre masturb menstru molest murder nazi
    nigger nipple opium orgasm patricid penis pervers pervert phall piss pogrom poop porn prostitut puberty pubescen
    puke rectal rectum redneck redskin sacrileg sadis satan scrotum sex shit slaughter slut sodom sperm suicid syphil
    terrori testic tortur upchuck vagina vomit voyeur wetback whore
    """

REJECTED_BEGINNINGS = """
    abduct abort abus addict adulter apartheid asphyxi assassin assault barf bawd bedpan behead bestial bimbo bloodbath
    bloodi bloodshed bloodthirst bloody bondage booz brassiere bugger cadaver cannabis carcass carnal cleavage cocaine
    coloreds condom constipat contracep corpse cretin crotch cutthroat decapitat defecat demonic devil drug drunk
    effeminate enema enslav erection erotic eunuch excre fascis fatso fatty fetal fetus flatulen fondl foreplay foreskin
    gangster gay geisha genital godless gringo grope gropi guillotin gypp hallucinat harelip harem harlot hashish
    heathen hemorrhoid heresi heresy heretic herpes hijack hillbill homophob hooker hornie horny hunchback idiot
    inebriat infidel intoxicat jockstrap junkie kidnap kill kinki kinky lascivious latrine laxative lecher leper leprosy
    lewd lingerie lustful lustily lusty maim manure marijuana masseuse methadone midget miscarr misogyn mistress morgue
    moron morphine mucus mulatto mutilat naked napalm narcoti negligee nincompoop nitwit nude nudi obscen orgies orgy
    overdos pagan pantie panties pederast pimped pimping pimps pinup playboy prostate prurien pubic quickie racis rapist
    raunch ravish retard ribald savage schmuck scum seduc semen skinhead slave sleaz smut spank spastic stoned strangl
    strangul stupid suck suffocat tampon thug titillat toilet topless turd twerp urina urine uteri uterus vasectom
    venereal virgin wank weirdo wimp xenophob
    """

# Whole words, with their inflections.
REJECTED_WORDS = """
    anal anus arse ass bosom bra bum butt buxom chink cock coon crap cripple cum cuss dick dope dork dumb dung dyke fag
    fagot fanny fart gore groin gyp hag hell heroin hick hussy killer lust narc nark noose nuke painkiller pansy pee
    piddle pimp potty prick puss queer rape sissy slain slay slob snot squaw stab tart teat tit tramp twit wiener wino
    """

# Caught by the above, and meaning no harm; with their inflections.
SPARED_WORDS = "bray killjoy suckle"


def inflections(word):
    """The word, its regular inflections, and some that don't exist. Not "-er", which makes "butter" of "butt"."""
    endings = ("", "s", "es", "d", "ed", "ing", "ings", "y", "ey", "ies", "ier", "iest", "ily")
    forms = {word + ending for ending in endings}
    forms |= {word + word[-1] + ending for ending in endings if len(ending) > 1} | {word + word[-1] + "y"}
    if word.endswith("e"):
        forms |= {word[:-1] + ending for ending in ("ing", "ings", "y", "ier", "iest")}
    if word.endswith("y"):
        forms |= {word[:-1] + ending for ending in ("ies", "ied", "ier", "iest", "ily")}
    return forms


def rejection_test():
    """A function that tells whether a word is to be left out."""
    anywhere = re.compile("|".join(REJECTED_ANYWHERE.split()))
    beginnings = re.compile("|".join(REJECTED_BEGINNINGS.split()))
    whole = set().union(*map(inflections, REJECTED_WORDS.split()))
    spared = set().union(*map(inflections, SPARED_WORDS.split()))

    def is_rejected(word):
        return word not in spared and bool(anywhere.search(word) or beginnings.match(word) or word in whole)

    return is_rejected


def read_words(folder, sizes, lengths, is_rejected):
    """The words of these size classes that are plain a to z in lower case, of a length in `lengths`, and not rejected.

    Names, abbreviations and contractions stand in other files of the folder; possessives and accents fail the letters.
    """
    words = set()
    for spelling, size in itertools.product(("english", "american"), sizes):
        lines = (folder / f"{spelling}-words.{size}").read_bytes().splitlines()
        words.update(line.decode("ascii") for line in lines if re.fullmatch(b"[a-z]+", line))
    return {word for word in words if len(word) in lengths and not is_rejected(word)}


# --- Dictionaries -----------------------------------------------------------------------------------------------------
#
# The program picks a word by an offset into the file: a random number modulo the file's size S, but at most S - 255.
# It reads 254 bytes from there, up to a line feed if there is one, drops the word that the offset falls into (also when
# it falls on the word's first byte), and takes the next. So
#   - words end in a carriage return, and there is no line feed;
#   - a word comes out as often as the word before it has bytes, its separator included: 5 to 7 of S, or 5 to 11;
#   - the first word of the file never comes out there, nor does any from the second behind offset S - 255 on;
#   - 255 draws, S - 255 to S - 1, all end at one offset, and yield the word behind the one that stands there.
# Hence the file is a ring of all words, cut open, with its beginning repeated behind its end so that offset S - 255 is
# the first byte of the ring's last word:
#
#   first second third ... last first second third ...
#                          |<------ 255 bytes ------>|
#
# The first word, which nothing precedes, is the one that the 255 draws yield, and these alone yield it. All others
# come out where they stand first. No word is lost, and none gains from the 255 draws what it had already. That they
# favour one word, 255 : S, can't be helped; the longer the file the less it matters, which speaks for many words.
#
# The order can't even out the other weights: they are the lengths of all words, dealt out differently. It can keep
# them from telling anything. Words of like length side by side would favour long words, the alphabet would favour those
# behind long families. Shuffled, a word's weight has nothing to do with its own length or spelling.

SEPARATOR = "\r"
NEVER_STARTED_AT = 255 # an offset is at most the file's size less this


def dictionary(words):
    """The text of a dictionary file. Raises ValueError if the ring of these words can't be cut anywhere."""
    ring = sorted(words, key=lambda word: hashlib.sha256(word.encode()).digest())
    for cut in range(len(ring)):
        words_in_order = ring[cut:] + ring[:cut]
        tail_size = len(words_in_order[-1] + SEPARATOR)
        for repeated, word in enumerate(words_in_order, start=1):
            tail_size += len(word + SEPARATOR)
            if tail_size == NEVER_STARTED_AT:
                return "".join(word + SEPARATOR for word in words_in_order + words_in_order[:repeated])
            if tail_size > NEVER_STARTED_AT:
                break
    raise ValueError("no cut leaves the last word at the last offset")


# --- Phonemes ---------------------------------------------------------------------------------------------------------
#
# The generator begins with a key, each as likely as any other, and goes on with one of that key's followers, which is
# the next key. All pairs are therefore fit to begin with: those with a vowel, and the two consonants that many words
# begin with, such as "st", not "ng".
#
# Which pair follows which is counted in the words, at even and at odd positions. Rows of plain counts would end in
# "ed", "es" and "in" far too often, so a follower gets the square root of its count: it keeps the rank of what is usual
# in English, and makes a step worth about half a bit more.

VOWELS = "aeiouy"
MOST_FOLLOWERS = 255 # in a row, which so stays below 516 bytes

# Below these, a pair or what follows it is an oddity of a few words. Higher values make the results more like English
# and easier to guess: two or three times these cost two and a half bits in ten letters.
LEAST_COUNT_OF_KEY = 20
LEAST_WORDS_BEGUN = 30 # by a key of two consonants
LEAST_COUNT_OF_FOLLOWER = 2
LEAST_DIFFERENT_FOLLOWERS = 8

MOST_CONSONANTS_IN_A_ROW = 3
MOST_VOWELS_IN_A_ROW = 2


def has_run(letters, of_vowels, longer_than):
    """Whether more than `longer_than` letters in a row are vowels, or are consonants."""
    groups = itertools.groupby(letters, lambda letter: letter in VOWELS)
    return any(is_vowel == of_vowels and len(list(group)) > longer_than for is_vowel, group in groups)


def is_pronounceable(letters):
    return not (has_run(letters, of_vowels=True, longer_than=MOST_VOWELS_IN_A_ROW)
                or has_run(letters, of_vowels=False, longer_than=MOST_CONSONANTS_IN_A_ROW))


def keys_to_begin_with(words):
    """The pairs that are common, and that a password may begin with."""
    counts = collections.Counter(word[i:i + 2] for word in words for i in range(len(word) - 1))
    beginnings = collections.Counter(word[:2] for word in words)
    return {pair for pair, count in counts.items() if count >= LEAST_COUNT_OF_KEY
            and (beginnings[pair] >= LEAST_WORDS_BEGUN or any(letter in VOWELS for letter in pair))}


def row_in_proportion(counts):
    """How often each follower stands in its row: the root of its count, at least once, all at most MOST_FOLLOWERS."""
    roots = {follower: math.isqrt(count) for follower, count in counts.items()}
    for limit in range(MOST_FOLLOWERS, 0, -1):
        row = {follower: max(1, root * limit // max(limit, sum(roots.values()))) for follower, root in roots.items()}
        if sum(row.values()) <= MOST_FOLLOWERS:
            return row
    raise ValueError("more different followers than a row may have")


def phoneme_table(words, is_rejected):
    """Key to follower to how often it stands in the key's row. Closed: each follower is a key.

    Leaves out what spells a rejected word in two pairs. In three, or across their borders, it may still come about.
    """
    counts = collections.defaultdict(collections.Counter)
    for word in words:
        for i in range(len(word) - 3):
            counts[word[i:i + 2]][word[i + 2:i + 4]] += 1

    keys = keys_to_begin_with(words)
    while True:
        table = {key: {follower: count for follower, count in counts[key].items()
                       if count >= LEAST_COUNT_OF_FOLLOWER and follower in keys and is_pronounceable(key + follower)
                       and not is_rejected(key + follower)}
                 for key in keys}
        kept = {key for key, row in table.items() if len(row) >= LEAST_DIFFERENT_FOLLOWERS}
        if kept == keys:
            return {key: row_in_proportion(row) for key, row in table.items()}
        keys = kept


def phonemes(table):
    """The text of the phoneme file: a line a key, "ab:" and the followers, two letters each and repeated as often."""
    return "".join(f"{key}:{''.join(follower * row[follower] for follower in sorted(row))}\n"
                   for key, row in sorted(table.items()))


# --- Licence ----------------------------------------------------------------------------------------------------------

LICENCE_PREFACE = """\
RandomWordsDictionaryShort.txt, RandomWordsDictionary.txt and Phonemes.txt are made from SCOWL, the Spell Checker
Oriented Word Lists, by Kevin Atkinson, as in the package "scowl" of Debian.

They are modified versions: a selection from the files english-words and american-words of the size classes 10, 20, 35
and 40, without words that may offend, in another order, and a table of letter pairs counted in these words. The script
make_resources.py makes them. Nothing of the classes above 40, and so nothing of the lists that only these are made
from, is part of them.

What follows is the notice that comes with these lists, in full.

"""


def notice_of(readme):
    """The copyright section of the list's own description."""
    with gzip.open(readme, "rt", encoding="utf-8") as file:
        section = re.search(r"^COPYRIGHT, SOURCES, and CREDITS:\n.*?(?=^FUTURE PLANS:)", file.read(), re.S | re.M)
    if section is None:
        sys.exit(f"{readme}: no copyright section")
    return section.group().rstrip() + "\n"


def main():
    parser = argparse.ArgumentParser(description="Makes dictionaries and phonemes from the Debian package scowl.")
    parser.add_argument("word_lists", nargs="?", type=pathlib.Path, default=WORD_LISTS, help="folder (%(default)s)")
    parser.add_argument("--notice", type=pathlib.Path, default=NOTICE, help="description of the lists (%(default)s)")
    parser.add_argument("--output", type=pathlib.Path, default=pathlib.Path(__file__).parent, help="folder to write to")
    arguments = parser.parse_args()
    for needed in (arguments.word_lists, arguments.notice):
        if not needed.exists():
            sys.exit(f"{needed} is missing; it comes with the Debian package scowl")

    is_rejected = rejection_test()
    short_words = read_words(arguments.word_lists, SHORT_SIZES, SHORT_LENGTHS, is_rejected)
    long_words = read_words(arguments.word_lists, LONG_SIZES, LONG_LENGTHS, is_rejected)
    results = {
        "RandomWordsDictionaryShort.txt": dictionary(short_words),
        "RandomWordsDictionary.txt": dictionary(long_words),
        "Phonemes.txt": phonemes(phoneme_table(long_words, is_rejected)),
        "LICENSE.words": LICENCE_PREFACE + notice_of(arguments.notice),
    }
    for name, text in results.items():
        (arguments.output / name).write_bytes(text.encode())


if __name__ == "__main__":
    main()
