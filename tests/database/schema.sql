-- What the cases and the manual's examples find on the server. Sent in KOI8-R.
create user 'ann'@'%' identified by 'secret';
create user 'bob'@'%' identified by 'a:b/c';
grant all on *.* to 'ann'@'%';
grant all on *.* to 'bob'@'%';

create database `a:b/c`;
create database shop;
use shop;

create table goods (id int primary key, name varchar(50), price int, note varchar(50));
insert into goods values (1, 'Kettle', 35, 'steel'), (2, 'Teapot', 20, null), (3, 'Cup', 5, 'blue'),
                         (4, 'Ann''s cup', 7, 'blue');

create table cities (id int primary key, `название` varchar(50));
insert into cities values (1, 'Москва'), (2, 'Ёлкино');

create table odd (id int primary key, a varchar(20), b varchar(20), c varchar(20));
insert into odd values (1, null, null, null), (2, 'x\ty', 'p\nq', 'z\t'), (3, '', 'b', ''), (4, null, 'b', null);

create table bytes (id int auto_increment primary key, value varbinary(300));

delimiter //
-- Two results, then how it went; one that fails between them; one that fails after a row; none; many bytes.
create procedure two_results() begin select 1 as a; select 2 as b union all select 3; end//
create procedure fails_after_a_result() begin select 1 as a; select * from nothing; select 2 as b; end//
create procedure fails_in_a_further_result() begin select 1 as a; select seq, (select seq from seq_1_to_2 where seq <= s.seq) as x from seq_1_to_3 as s; select 2 as b; end//
create procedure without_result() begin set @x = 1; end//
create procedure fails_at_once() begin select * from nothing; select 2 as b; end//
create procedure large_after_a_result() begin select 1 as a; select repeat('x', 100) as x from seq_1_to_10000; end//
delimiter ;
