"""Turns rows of orders into a report, with the database and the file formats that Python brings
along. Python 2.7."""

import csv
import json
import sqlite3
import StringIO


def make_report(orders):
    """Takes a list of tuples (region, product, quantity, price in cents) and gives a dict: the
    number of orders and the total, the best region, all regions as JSON, and the orders as CSV.
    When an order is refused, the dict has the key 'error' instead, with a text for the user."""
    database = sqlite3.connect(':memory:')
    database.text_factory = str  # the host sends and expects UTF-8 bytes
    database.execute('''CREATE TABLE orders (region TEXT, product TEXT,
                                             quantity INTEGER CHECK (quantity > 0),
                                             price INTEGER CHECK (price > 0))''')
    for number, order in enumerate(orders, 1):
        try:
            database.execute('INSERT INTO orders VALUES (?, ?, ?, ?)', order)
        except sqlite3.IntegrityError:
            return {'error': 'order %d is not valid: %s of %s' % (number, order[2], order[1])}

    total, = database.execute('SELECT SUM(quantity * price) FROM orders').fetchone()
    regions = database.execute('''SELECT region, SUM(quantity * price) AS sales FROM orders
                                  GROUP BY region ORDER BY sales DESC''').fetchall()
    print '%-10s %10s' % ('region', 'sales')
    for region, sales in regions:
        print '%-10s %10.2f' % (region, sales / 100.0)

    table = StringIO.StringIO()
    writer = csv.writer(table, lineterminator='\n')
    writer.writerow(['region', 'product', 'quantity', 'price'])
    writer.writerows(orders)
    return {
        'orders': len(orders),
        'total': total / 100.0,
        'best': regions[0][0],
        'regions': json.dumps(dict(regions), sort_keys=True, ensure_ascii=False),
        'csv': table.getvalue(),
    }
