-- The shop: what it sells, and what was ordered. scripts/demo runs the files of this folder, in the order of
-- their names, in an empty database; texts are in UTF-8.

create table categories (
  id int unsigned not null auto_increment primary key,
  name varchar(40) not null
) default charset utf8mb4;

create table goods (
  id int unsigned not null auto_increment primary key,
  category int unsigned not null references categories (id),
  name varchar(80) not null,
  note varchar(120) not null,
  price decimal(7,2) not null,
  stock int unsigned not null
) default charset utf8mb4;

-- The price is that of the day.
create table orders (
  id int unsigned not null auto_increment primary key,
  goods int unsigned not null references goods (id),
  pieces int unsigned not null,
  price decimal(7,2) not null,
  name varchar(80) not null,
  address varchar(400) not null,
  written datetime not null
) default charset utf8mb4;

insert into categories values (1, 'Notebooks'), (2, 'Paper'), (3, 'Ink'), (4, 'Pens'), (5, 'Second hand');

insert into goods (category, name, note, price, stock) values
  (1, 'Atlas notebook, A5', '192 pages, sewn, opens flat', 14.90, 42),
  (1, 'Field notebook, set of three', 'fits a coat pocket', 9.50, 65),
  (1, 'Ledger, clothbound', 'red edges, numbered pages', 28.00, 9),
  (1, 'Music notebook', 'twelve staves a page', 12.40, 17),
  (1, 'Sketchbook, landscape', 'rough paper, 160 g', 19.80, 0),
  (2, 'Laid paper, 50 sheets', 'with watermark, cream', 11.20, 80),
  (2, 'Vellum paper, 25 sheets', 'smooth, for dip pens', 16.60, 31),
  (2, 'Blotting paper', 'ten sheets, pink', 3.90, 120),
  (2, 'Envelopes, lined', '25 pieces, grey tissue', 7.30, 58),
  (2, 'Marbled paper', 'every sheet is different', 5.80, 24),
  (3, 'Iron gall ink, 50 ml', 'blue on the day, black in a year', 8.90, 36),
  (3, 'Walnut ink, 50 ml', 'warm brown, for drawing', 7.80, 22),
  (3, 'Prussian blue ink, 30 ml', '"the colour of the evening"', 10.50, 15),
  (3, 'Vermilion ink, 30 ml', 'for initials & headings', 12.00, 6),
  (3, 'White ink, 15 ml', 'on dark paper', 6.40, 0),
  (4, 'Dip pen holder, beech', 'without nib', 4.60, 75),
  (4, 'Nibs, box of twelve', '<fine> to <broad>', 13.20, 28),
  (4, 'Fountain pen, piston', 'steel nib, ink window', 89.00, 4),
  (4, 'Goose quill, cut by hand', 'where it all began', 5.20, 33),
  (4, 'Brush pen', 'real hair, refillable', 9.90, 19),
  (5, 'Ann''s inkstand', 'her own, with two wells', 64.00, 1),
  (5, 'Seal "Salzburg", brass', 'a deer; the handle is new', 38.50, 1),
  (5, 'Writing slope, walnut', 'from about 1890, key & lock', 210.00, 1),
  (5, 'Pounce pot, porcelain', 'for sand, before there was blotting paper', 27.00, 2);

-- Two orders of the last days.
insert into orders (goods, pieces, price, name, address, written) values
  (11, 2, 8.90, 'Clara Winter', 'Steingasse 4, 5020 Salzburg', current_date - interval 2 day + interval '10:12' hour_minute),
  (5, 1, 19.80, 'Tomáš Dvořák', 'Radniční 12, 370 01 České Budějovice', current_date - interval 1 day + interval '16:40' hour_minute);
