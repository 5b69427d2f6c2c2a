"""Works on many numbers that the host hands over as bytes. Python 2.7."""

import quillix


def statistics(data):
    """Takes doubles as bytes and gives how many there are, the least, the largest, and the average."""
    numbers = quillix.unpack(data, 'double', into='array')
    return len(numbers), min(numbers), max(numbers), sum(numbers) / len(numbers)


def smooth(data, width):
    """Gives the average of every `width` doubles in a row, as bytes."""
    numbers = quillix.unpack(data, 'double')
    total, averages = sum(numbers[:width - 1]), []
    for i in xrange(width - 1, len(numbers)):
        total += numbers[i]
        averages.append(total / width)
        total -= numbers[i - width + 1]
    return quillix.pack(averages, 'double')


def scale(address, count, factor):
    """Multiplies doubles of the host, where they are."""
    numbers = quillix.at_address(address, 'double', count)
    for i in xrange(count):
        numbers[i] *= factor
