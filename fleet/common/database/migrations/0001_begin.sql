-- Severities are those of X.733 as numbers: 0 cleared, 1 indeterminate, 2 warning, 3 minor, 4 major, 5 critical.
create table site (
  site_id integer generated always as identity primary key,
  name text not null unique check (name ~ '^[A-Za-z0-9_-]{1,64}$')
);

create table controller (
  controller_id bigint generated always as identity primary key,
  site_id integer not null references site,
  name text not null check (name ~ '^[A-Za-z0-9_-]{1,64}$'),
  ledger_no bigint,                       -- the ledger that it has now; null: none is known yet
  is_online boolean not null default true,  -- by its own latest word
  is_engine_answering boolean not null default false,
  version text not null default '',
  heard timestamptz not null default now(),  -- when the latest message of it was taken
  silent_since timestamptz,               -- null: it is heard
  asked timestamptz,                      -- when it was asked last for what is missing
  asked_for text not null default '',     -- the id of that request
  first_heard timestamptz not null default now(),
  unique (site_id, name)
) with (fillfactor = 70);                 -- each batch updates rows here, which takes least when they stay in their page

-- The ledgers that a controller has had. How far its changes are here stands with each.
create table ledger (
  ledger_no bigint generated always as identity primary key,
  controller_id bigint not null references controller on delete cascade,
  ledger_id text not null check (ledger_id ~ '^[0-9a-f]{32}$'),
  through bigint not null default 0,
  wanted_through bigint not null default 0,
  is_list_wanted boolean not null default true,
  list_after bigint not null default 0,
  status_at timestamptz,                  -- of its latest status, by the controller's clock
  begun timestamptz not null default now(),
  ended timestamptz,                      -- another one took its place
  unique (controller_id, ledger_id)
) with (fillfactor = 70);
alter table controller add foreign key (ledger_no) references ledger deferrable initially deferred;

-- Every change once. Uniqueness comes from ledger.through, under the lock of the controller's row: a partitioned table
-- cannot have an index over all of its partitions.
create table change (
  ledger_no bigint not null,
  number bigint not null,
  received timestamptz not null default now(),
  at timestamptz not null,
  kind text not null,
  alarm bigint,                           -- the alarm's number; null: the change is one of an object
  fault_dn text,
  dn text,
  severity_before smallint not null,
  severity_after smallint not null,
  sequence bigint not null,               -- the input that made it
  person text,                            -- who acted; null: an event, or the engine itself
  comment text,
  body text not null,                     -- the whole message, as it came: JSON
  primary key (ledger_no, number, received)
) partition by range (received);
create index change_alarm on change (ledger_no, alarm, number);

-- Changes that nobody can have any more, and ledgers that were put back to an earlier state.
create table gap (
  ledger_no bigint not null references ledger on delete cascade,
  first bigint not null,
  last bigint not null,
  is_put_back boolean not null,
  noted timestamptz not null default now()
);
create index gap_ledger on gap (ledger_no, first);

create table alarm_group (
  group_no bigint generated always as identity primary key,
  site_id integer not null references site,
  code bigint not null,                   -- of 32 bits without a sign
  name text not null,
  description text not null,              -- of the first alarm
  first_created timestamptz not null,
  last_created timestamptz not null,
  first_alarm_no bigint not null,
  alarms integer not null,
  controllers integer not null,
  worst smallint not null,
  noted timestamptz not null default now()
);
create index alarm_group_fault on alarm_group (site_id, code, first_created desc);
create index alarm_group_first on alarm_group (first_created desc);

create table alarm (
  alarm_no bigint generated always as identity primary key,
  controller_id bigint not null references controller on delete cascade,
  site_id integer not null references site,
  ledger_no bigint references ledger on delete cascade,  -- null: an alarm of the fleet: the controller is silent
  number bigint,                          -- in its ledger; null: the same
  fault bigint not null default 0,        -- the change that raised the fault that it has now
  last_change bigint not null default 0,  -- that was taken into this row
  fault_dn text not null,
  dn text not null,
  code bigint not null,                   -- of 32 bits without a sign
  name text not null,
  sensor text not null default '',
  description text not null,
  cause text not null default '',
  oid text not null default '',
  severity smallint not null,             -- the last one, when it is over
  worst smallint not null,
  created timestamptz not null,
  since timestamptz not null,
  updated timestamptz not null,
  cleared timestamptz,
  ended text not null default '',         -- how; empty: it is active
  count bigint not null default 1,
  reporters bigint not null default 1,
  is_acknowledged boolean not null default false,
  is_closed boolean not null default false,
  is_shelved boolean not null default false,
  was_unshelved boolean not null default false,
  is_out_of_service boolean not null default false,
  acknowledged_by text not null default '',
  raises bigint not null default 0,       -- while it is chattering
  received timestamptz not null default now(),
  group_no bigint references alarm_group on delete set null,
  is_grouping_due boolean not null default true,  -- the search for groups has not looked at it yet
  check ((ended = '') = (cleared is null)),
  check ((ledger_no is null) = (number is null))
);
create unique index alarm_name on alarm (ledger_no, number) where ledger_no is not null;
create unique index alarm_silent on alarm (controller_id) where ledger_no is null and ended = '';
create index alarm_active_created on alarm (created desc, alarm_no desc) where ended = '';
create index alarm_active_controller on alarm (controller_id) include (severity) where ended = '';
create index alarm_active_site on alarm (site_id, created desc) include (severity) where ended = '';
create index alarm_controller on alarm (controller_id, created desc);
create index alarm_created on alarm (created desc, alarm_no desc);
create index alarm_code on alarm (site_id, code, created);
create index alarm_group_members on alarm (group_no) where group_no is not null;
create index alarm_grouping_due on alarm (alarm_no) where is_grouping_due;
create index alarm_over on alarm (cleared) where ended <> '';

-- What operators of the fleet do goes down to a controller, and comes back as changes.
create table action (
  action_no bigint generated always as identity primary key,
  controller_id bigint not null references controller on delete cascade,
  ledger_no bigint not null references ledger on delete cascade,
  request jsonb not null,                 -- as the engine's control socket takes it, without the person
  person text not null,
  asked timestamptz not null default now(),
  expires timestamptz not null,
  sent timestamptz,                       -- the last time that it went down
  state text not null default 'waiting' check (state in ('waiting', 'done', 'refused', 'expired')),
  why text not null default '',
  ended timestamptz
);
create index action_waiting on action (controller_id, action_no) where state = 'waiting';
create index action_asked on action (asked desc);

-- The collectors, as each tells of itself.
create table collector (
  name text primary key,                  -- host and process
  begun timestamptz not null,
  heard timestamptz not null default now(),
  version text not null,
  queues integer not null,
  messages bigint not null,
  changes bigint not null,
  repeats bigint not null,
  early bigint not null,
  dead_letters bigint not null,
  last_problem text not null default '',
  last_problem_at timestamptz
);

-- Partitions of changes, one a day by UTC, are made ahead and dropped by whoever collects. He owns no table, so these
-- functions act for him.
-- A table that is attached stops nobody who reads or writes changes; one that is made as a partition does.
create function make_change_partition(of_day date) returns void
language plpgsql security definer set search_path = polaiga, pg_temp as $$
declare
  partition text := 'change_' || to_char(of_day, 'YYYYMMDD');
begin
  perform pg_advisory_xact_lock(7305804403);
  if to_regclass('polaiga.' || partition) is not null then
    return;
  end if;
  execute format('create table polaiga.%I (like polaiga.change including defaults)', partition);
  execute format('alter table polaiga.change attach partition polaiga.%I for values from (%L) to (%L)', partition,
                 of_day::text || ' 00:00:00+00', (of_day + 1)::text || ' 00:00:00+00');
end $$;

-- Drops the partitions of days before `day`. Answers how many.
create function drop_change_partitions(before_day date) returns integer
language plpgsql security definer set search_path = polaiga, pg_temp as $$
declare
  one record;
  dropped integer := 0;
begin
  for one in
    select c.relname from pg_inherits i join pg_class c on c.oid = i.inhrelid
    where i.inhparent = 'polaiga.change'::regclass and c.relname ~ '^change_[0-9]{8}$'
      and to_date(right(c.relname, 8), 'YYYYMMDD') < before_day
  loop
    execute format('drop table polaiga.%I', one.relname);
    dropped := dropped + 1;
  end loop;
  return dropped;
end $$;
revoke execute on function make_change_partition(date), drop_change_partitions(date) from public;
