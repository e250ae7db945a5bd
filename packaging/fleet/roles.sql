-- The roles of a fleet's database and the database itself. To be run once, by a superuser, on the primary:
--   psql --file roles.sql
-- Then `polaiga-collector migrate --database postgresql://polaiga_owner@HOST/polaiga` makes the tables and gives the
-- roles the rights that they need. It is run again with each new version.

-- Owns the tables. Only `migrate` uses it.
create role polaiga_owner login;

-- What programs may do. People and programs log in as members of these roles.
create role polaiga_collector nologin;  -- polaiga-collector: writes what controllers send
create role polaiga_viewer nologin;     -- polaiga-web-fleet and polaiga-alertmanager-fleet without actions: reads
create role polaiga_operator nologin;   -- polaiga-web-fleet: reads, and asks for actions

-- The logins. How they prove who they are is said in pg_hba.conf: by certificate (cert), or by a password
-- (scram-sha-256) that `\password polaiga_collectors` sets and that the programs read from a file (passfile=).
create role polaiga_collectors login in role polaiga_collector;
create role polaiga_pages login in role polaiga_operator;
create role polaiga_readers login in role polaiga_viewer;

create database polaiga owner polaiga_owner encoding 'UTF8' template template0;
revoke all on database polaiga from public;
grant connect on database polaiga to polaiga_collectors, polaiga_pages, polaiga_readers;
