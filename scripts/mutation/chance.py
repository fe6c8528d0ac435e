# Whether a sample's survivors may be chance: of a whole that has the score that is wanted, a small sample is now and then
# much worse.
from math import comb

NO_CHANCE = 1e-6  # a run in so many would fail for nothing


def may_be_chance(survived, judged, least):
    """Whether so many, or more, of the judged ones survive at least once in a million samples, when of all changes `least`
    percent are killed."""
    share = 1 - least / 100
    return sum(comb(judged, n) * share**n * (1 - share) ** (judged - n) for n in range(survived, judged + 1)) > NO_CHANCE
