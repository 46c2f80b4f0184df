#!/usr/bin/env python3
"""Makes the bundled bar samples, the same every time:

  daily.csv          ten years of US trading days (weekends and exchange holidays absent)
  intraday-5min.csv  5-minute bars of twenty sessions, 09:30-16:00 New York time, each bar
                     stamped with its closing time (09:35 ... 16:00)

Prices follow a random walk whose volatility clusters; volume rises with the size of the move.
Only the standard library is used, and the random numbers come from a generator written here so
that every Python version makes the same files.

Usage: data/make_samples.py [OUTPUT_DIR]   (default: the folder of this script)
"""
import datetime as dt
import math
import os
import sys


class Random:
    """splitmix64: small, fast and fully specified."""

    def __init__(self, seed):
        self.state = seed & 0xFFFFFFFFFFFFFFFF

    def next64(self):
        self.state = (self.state + 0x9E3779B97F4A7C15) & 0xFFFFFFFFFFFFFFFF
        z = self.state
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & 0xFFFFFFFFFFFFFFFF
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & 0xFFFFFFFFFFFFFFFF
        return z ^ (z >> 31)

    def uniform(self):
        """In (0, 1)."""
        return ((self.next64() >> 11) + 0.5) / float(1 << 53)

    def normal(self):
        return math.sqrt(-2.0 * math.log(self.uniform())) * math.cos(2.0 * math.pi * self.uniform())


# ---- the exchange calendar

def nth_weekday(year, month, weekday, n):
    """The n-th given weekday (0 = Monday) of a month; n = -1 is the last."""
    if n > 0:
        d = dt.date(year, month, 1)
        d += dt.timedelta(days=(weekday - d.weekday()) % 7)
        return d + dt.timedelta(weeks=n - 1)
    d = dt.date(year + (month == 12), month % 12 + 1, 1) - dt.timedelta(days=1)
    return d - dt.timedelta(days=(d.weekday() - weekday) % 7)


def easter(year):
    a, b, c = year % 19, year // 100, year % 100
    d, e = b // 4, b % 4
    f = (b + 8) // 25
    g = (b - f + 1) // 3
    h = (19 * a + b - d - g + 15) % 30
    i, k = c // 4, c % 4
    l = (32 + 2 * e + 2 * i - h - k) % 7
    m = (a + 11 * h + 22 * l) // 451
    month = (h + l - 7 * m + 114) // 31
    day = (h + l - 7 * m + 114) % 31 + 1
    return dt.date(year, month, day)


def observed(d):
    """A holiday on a Saturday is kept on the Friday before, on a Sunday on the Monday after."""
    if d.weekday() == 5:
        return d - dt.timedelta(days=1)
    if d.weekday() == 6:
        return d + dt.timedelta(days=1)
    return d


def holidays(year):
    h = {
        nth_weekday(year, 1, 0, 3),   # Martin Luther King Jr. Day
        nth_weekday(year, 2, 0, 3),   # Washington's Birthday
        easter(year) - dt.timedelta(days=2),  # Good Friday
        nth_weekday(year, 5, 0, -1),  # Memorial Day
        observed(dt.date(year, 7, 4)),
        nth_weekday(year, 9, 0, 1),   # Labor Day
        nth_weekday(year, 11, 3, 4),  # Thanksgiving
        observed(dt.date(year, 12, 25)),
    }
    new_year = dt.date(year, 1, 1)
    if new_year.weekday() != 5:  # a Saturday New Year's Day is not kept on the Friday before
        h.add(observed(new_year))
    if year >= 2022:
        h.add(observed(dt.date(year, 6, 19)))  # Juneteenth
    return h


def trading_days(first, last):
    days, d = [], first
    hol = {}
    while d <= last:
        if d.year not in hol:
            hol[d.year] = holidays(d.year)
        if d.weekday() < 5 and d not in hol[d.year]:
            days.append(d)
        d += dt.timedelta(days=1)
    return days


# ---- bars

def cents(x):
    return math.floor(x * 100.0 + 0.5) / 100.0


def make_bar(rng, open_, ret, sigma):
    """One bar from its open, its open-to-close return and the volatility of its period."""
    close = cents(open_ * math.exp(ret))
    open_ = cents(open_)
    high = cents(max(open_, close) * (1.0 + abs(rng.normal()) * 0.45 * sigma))
    low = cents(min(open_, close) * (1.0 - abs(rng.normal()) * 0.45 * sigma))
    return open_, max(high, open_, close), min(low, open_, close), close


def daily(rng):
    rows = []
    price, var = 100.0, 0.012 ** 2
    long_run, a, b = 0.012 ** 2, 0.08, 0.90
    for day in trading_days(dt.date(2015, 1, 2), dt.date(2024, 12, 31)):
        sigma = math.sqrt(var)
        gap = 0.25 * sigma * rng.normal()
        ret = 0.0003 + 0.95 * sigma * rng.normal()
        o, h, l, c = make_bar(rng, price * math.exp(gap), ret, sigma)
        move = math.log(c / price)
        var = (1 - a - b) * long_run + a * move * move + b * var
        volume = 2_000_000 * math.exp(0.25 * rng.normal()) * (1 + 25 * abs(move))
        rows.append((day.isoformat(), o, h, l, c, int(round(volume, -2))))
        price = c
    return rows


def intraday(rng):
    rows = []
    price = 250.0
    days = trading_days(dt.date(2024, 10, 1), dt.date(2024, 10, 31))[:20]
    for day in days:
        price *= math.exp(0.004 * rng.normal())  # the overnight move
        for k in range(78):
            end = dt.datetime.combine(day, dt.time(9, 30)) + dt.timedelta(minutes=5 * (k + 1))
            # busier near the open and the close
            u = 1.0 + 1.5 * ((k - 38.5) / 38.5) ** 2
            sigma = 0.0009 * u
            o, h, l, c = make_bar(rng, price, sigma * rng.normal(), sigma)
            volume = 18_000 * u * u * math.exp(0.35 * rng.normal())
            rows.append((end.strftime("%Y-%m-%d %H:%M"), o, h, l, c, int(round(volume, -1))))
            price = c
    return rows


def write(path, rows):
    with open(path, "w", newline="\n") as f:
        f.write("Date,Open,High,Low,Close,Volume\n")
        for d, o, h, l, c, v in rows:
            f.write(f"{d},{o:.2f},{h:.2f},{l:.2f},{c:.2f},{v}\n")


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    write(os.path.join(out, "daily.csv"), daily(Random(20150102)))
    write(os.path.join(out, "intraday-5min.csv"), intraday(Random(20241001)))


if __name__ == "__main__":
    main()
